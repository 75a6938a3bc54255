// Shared by the fuzz targets: a described broken invariant stops the fuzzer (or
// fails the replay of the kept inputs, tests/corpus/<target>/) as a crash would.
#pragma once
#include <cstdio>
#include <cstdlib>
#include <string>

inline int StopOn(const std::string& problem) {
  if (!problem.empty()) fprintf(stderr, "%s\n", problem.c_str()), abort();
  return 0;
}

#define LOGLANTERN_FUZZ_TARGET(check) /* the entry point over a check of (data, size) */ \
  extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) { return StopOn(check(data, size)); }

// Fuzz target for log lines: the first byte chooses the reader's settings
// (date order, GMT correction, a template given on the first line), the
// rest is a log file read through the line parser and the date classifier.
//
// A memory error, a crash or a hit that breaks the reader's promises (texts
// inside its buffers and fields, a URL, a time, a local broken-down time)
// stops the fuzzer.  Inputs that found a fault are kept under
// tests/corpus/superlog_lines/, where a unit test replays them on every run.
//
// Built by fuzz/build.sh; run with a scratch corpus beside the kept one:
//   build-fuzz/superlog_lines_fuzz -max_total_time=60 /tmp/superlog_lines_corpus tests/corpus/superlog_lines
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/superlog/fuzz_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string problem = superlog_inputs::RunLogLines(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

// Fuzz target for summary files: the input is the summary file of a folder
// of three small logs, read at start-up, rewritten when it differs from the
// folder, and read back.
//
// A memory error, a crash, a log listed twice or a summary that does not
// read back as the list it was written from stops the fuzzer.  Inputs that
// found a fault are kept under tests/corpus/superlog_summary/, where a unit
// test replays them on every run.
//
// Built by fuzz/build.sh; run with a scratch corpus beside the kept one:
//   build-fuzz/superlog_summary_fuzz -max_total_time=60 /tmp/superlog_summary_corpus tests/corpus/superlog_summary
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/superlog/fuzz_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string problem = superlog_inputs::RunSummaryFile(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

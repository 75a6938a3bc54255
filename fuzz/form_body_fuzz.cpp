// Fuzz target for the POSTed form body: read, split, decoded and applied.
//
// A memory error, a crash or a text field that ran past its width stops the
// fuzzer.  Inputs that found a fault are kept under tests/corpus/form_body/,
// where a unit test replays them on every run.
//
// Built by fuzz/build.sh; run with a scratch corpus beside the kept one:
//   build-fuzz/form_body_fuzz -max_total_time=60 /tmp/form_body_corpus tests/corpus/form_body
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/settings/front_door_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string problem = front_door_inputs::RunFormBody(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

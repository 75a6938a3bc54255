// Fuzz target for the configuration file: the first line is the user name, the rest the file.
//
// A memory error, a crash or a text field that ran past its width stops the
// fuzzer.  Inputs that found a fault are kept under tests/corpus/config_file/,
// where a unit test replays them on every run.
//
// Built by fuzz/build.sh; run with a scratch corpus beside the kept one:
//   build-fuzz/config_file_fuzz -max_total_time=60 /tmp/config_file_corpus tests/corpus/config_file
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/settings/front_door_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string problem = front_door_inputs::RunConfigFile(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

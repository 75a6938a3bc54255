// Fuzz target for the configuration file: the first line is the user name, the rest the file.
#include "fuzz_target.h"
#include "../tests/settings/front_door_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  return StopOn(front_door_inputs::RunConfigFile(data, size));
}

// Fuzz target for the POSTed form body: read, split, decoded and applied.
#include "fuzz_target.h"
#include "../tests/settings/front_door_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  return StopOn(front_door_inputs::RunFormBody(data, size));
}

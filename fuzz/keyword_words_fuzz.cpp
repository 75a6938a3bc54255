// Fuzz target for keyword words: one word a line, its first byte choosing the source and rank.
#include "fuzz_target.h"
#include "../tests/settings/front_door_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  return StopOn(front_door_inputs::RunKeywordWords(data, size));
}

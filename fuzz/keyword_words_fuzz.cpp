// Fuzz target for keyword words: one word a line, its first byte choosing the source and rank.
#include "fuzz_target.h"
#include "../tests/settings/front_door_inputs.h"

LOGLANTERN_FUZZ_TARGET(front_door_inputs::RunKeywordWords)

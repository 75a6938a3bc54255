// Fuzz target for the POSTed form body: read, split, decoded and applied.
#include "fuzz_target.h"
#include "../tests/settings/front_door_inputs.h"

LOGLANTERN_FUZZ_TARGET(front_door_inputs::RunFormBody)

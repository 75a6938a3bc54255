// Fuzz target for the configuration file: the first line is the user name, the rest the file.
#include "fuzz_target.h"
#include "../tests/settings/front_door_inputs.h"

LOGLANTERN_FUZZ_TARGET(front_door_inputs::RunConfigFile)

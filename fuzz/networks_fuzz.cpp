// Fuzz target for the Networks file: the first line is the item, the rest the file (cut at a line "--").
// It writes its files in the working folder: run it in a scratch folder.
#include "fuzz_target.h"
#include "../tests/driver/web_fuzz_inputs.h"

LOGLANTERN_FUZZ_TARGET(web_fuzz_inputs::RunNetworks)

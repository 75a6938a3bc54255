// Fuzz target for search-phrase extraction: the input is a referrer.
// It writes its files in the working folder: run it in a scratch folder.
#include "fuzz_target.h"
#include "../tests/driver/web_fuzz_inputs.h"

LOGLANTERN_FUZZ_TARGET(web_fuzz_inputs::RunSearchPhrase)

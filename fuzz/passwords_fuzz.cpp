// Fuzz target for the passwords file with the internal-address list: user name,
// list, client address and file, cut at lines "--".
// It writes its files in the working folder: run it in a scratch folder.
#include "fuzz_target.h"
#include "../tests/driver/web_fuzz_inputs.h"

LOGLANTERN_FUZZ_TARGET(web_fuzz_inputs::RunPasswords)

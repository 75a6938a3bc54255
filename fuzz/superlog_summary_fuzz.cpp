// Fuzz target for summary files: the summary of a folder of three small logs,
// read at start-up, rewritten when it differs from the folder, and read back;
// no log may be listed twice and the rewrite must read back as written.
#include "fuzz_target.h"
#include "../tests/superlog/fuzz_inputs.h"

LOGLANTERN_FUZZ_TARGET(superlog_inputs::RunSummaryFile)

// Fuzz target for log lines: the first byte chooses the reader's settings (date
// order, GMT correction, a template given on the first line), the rest is a log
// read through the line parser and the date classifier; a hit must keep its
// texts inside their buffers and carry a URL, a time and a local time.
#include "fuzz_target.h"
#include "../tests/superlog/fuzz_inputs.h"

LOGLANTERN_FUZZ_TARGET(superlog_inputs::RunLogLines)

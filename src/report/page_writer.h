// The report page's writer for what the pass writes while it reads.
#pragma once

#include "base/pass_writer.h"

// Writes to the page on standard output.
PassWriter& PageWriter();

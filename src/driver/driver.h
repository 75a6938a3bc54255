// The program driver: run modes, parameters, clean-up.
#pragma once

#include <cstdint>
#include <cstdio>

#include "settings/extra_text.h"  // EndLoglanternCleanup

struct StatsFields;
struct CgiEnv;


// Lowers the process priority by the Priority setting when it is 1 to 19;
// any other value leaves it alone.
void MakeNice(const StatsFields* settings);

// Reads a POSTed body of at most bodyLength bytes from stream, splits it at
// '&', URL-decodes each name and value and applies each field as a keyword
// word of source "form", rank 2.  Owns its buffers only for the call.  Ends
// the process with status 1 when memory for the body or the entries is
// refused.
void ApplyPostedForm(FILE* stream, int32_t bodyLength, StatsFields* settings, CgiEnv* env);

// The whole program; returns the exit status of a report run (every other
// ending exits the process on its own).
int LoglanternMain(int argc, char** argv);

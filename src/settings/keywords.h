// The parameter keyword table shared by the form, the command line and the
// user account lines of the configuration file.
#pragma once

#include <cstddef>
#include <cstdint>

struct StatsFields;
struct CgiEnv;

// Applies one name=value word from source "form" or "ini" (compared
// ignoring case) with its ParamSource rank.  Name and value are each cut at
// 243 characters; every '=' after the first is dropped from the value.
// Unknown names, and names whose source condition fails, are ignored.
// In a CGI run (env given, not command-line mode), a "form" word config or
// summary whose value holds '/' or begins with '.' is ignored as well.
// Never ends the run.
void CompareParam(const char* word, StatsFields* settings, CgiEnv* env, const char* sourceName,
                  int32_t rank);

// Copies the n-th comma-separated field of text (n from 1) into out
// (outSize bytes, cut at its end); "" when there is none.
void ReturnValue(char* out, size_t outSize, const char* text, int n);

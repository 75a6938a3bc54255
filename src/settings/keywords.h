// The parameter keyword table shared by the form, the command line and the
// user account lines of the configuration file.
#pragma once

#include <cstdint>

struct StatsFields;
struct CgiEnv;

// Applies one name=value word from source "form" or "ini" with its
// ParamSource rank.  Unknown names are ignored.
void CompareParam(const char* word, StatsFields* settings, CgiEnv* env, const char* sourceName,
                  int32_t rank);

// Copies the n-th comma-separated field of text (n from 1) into out
// (outSize bytes); "" when there is none.
void ReturnValue(char* out, size_t outSize, const char* text, int n);

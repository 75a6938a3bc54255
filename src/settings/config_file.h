// The configuration file: global keys and user account lines.
#pragma once

#include <cstddef>
#include <cstdint>

struct StatsFields;
struct CgiEnv;

// Reads the configuration file named by settings->configFile (falling back
// to "loglantern.conf") and applies its global lines and every account line
// that matches the request's user name.  Returns 1 when at least one account
// line matched, else 0.  Ends the run with error 9 when neither name can be
// opened, except for the about and credits pages (then returns 0 at once).
int ParseConfigFile(StatsFields* settings, CgiEnv* env);

// Applies the ';'-separated items of a matching account line (which still
// begins with "user=NAME") as keyword words of source "ini", rank 4.
void ParseUserData(const char* line, StatsFields* settings, CgiEnv* env);

// Replaces every "%user%" in text (textSize bytes) by the user name, in
// place; the result is cut at textSize - 1 characters.
void InsertUserName(const StatsFields* settings, char* text, size_t textSize);

// Removes one trailing '\' or, failing that, one trailing '/'.
void TrimTrailingBackslash(char* text);

// Closes any file the reader holds and empties its buffers.  For tests.
void ResetConfigReaderForTesting();

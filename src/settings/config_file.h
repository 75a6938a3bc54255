// The configuration file: global keys and user account lines.
#pragma once

#include <cstdint>

struct StatsFields;
struct CgiEnv;

// Reads the configuration file; 1 when at least one account line matched
// the request's user name.  Ends with error 9 when the file cannot be
// opened (except for the about and credits pages).
int ParseConfigFile(StatsFields* settings, CgiEnv* env);
void ParseUserData(const char* line, StatsFields* settings, CgiEnv* env);
// Replaces every "%user%" in text (a 244-byte field) by the user name.
void InsertUserName(const StatsFields* settings, char* text, size_t textSize);
// Removes one trailing '\' or, failing that, one trailing '/'.
void TrimTrailingBackslash(char* text);

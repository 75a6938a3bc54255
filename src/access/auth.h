// User account authentication: internal addresses and passwords.
#pragma once

struct StatsFields;
struct CgiEnv;

// Returns when the request may see the account; otherwise error 2.
void ValidateSession(StatsFields* settings, const CgiEnv* env);
int LocalIP(const StatsFields* settings, const char* remoteHost, const char* remoteAddr);
// Ends with error 10 when the passwords file cannot be opened.
int VerifyPassword(StatsFields* settings, const CgiEnv* env);

// Numbered error pages and the error log.
#pragma once

struct StatsFields;
struct CgiEnv;

// Writes the page of error `number`, appends its line to the error log,
// runs the driver's clean-up and exits with status 0.
[[noreturn]] void ServerError(int number, const CgiEnv* env, StatsFields* settings);

// Appends "[time] message" to the error log when one is configured.
void LogError(const StatsFields* settings, const char* message);

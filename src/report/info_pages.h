// About, credits and remote-debugging pages, and the command-line usage text.
#pragma once

struct StatsFields;
struct CgiEnv;

void AboutPage(const StatsFields* settings, const CgiEnv* env);
void CreditsPage(const StatsFields* settings, const CgiEnv* env);
void RemoteDebug(const StatsFields* settings, const CgiEnv* env);
void CommandLineHelp();

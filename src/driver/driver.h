// The program driver: run modes, parameters, clean-up.
#pragma once

struct StatsFields;

// Releases the extra header and footer texts; safe to call more than once.
void EndLoglanternCleanup(StatsFields* settings);
// Lowers the process priority by the Priority setting when it is 1 to 19.
void MakeNice(const StatsFields* settings);
// The whole program; returns the exit status.
int LoglanternMain(int argc, char** argv);

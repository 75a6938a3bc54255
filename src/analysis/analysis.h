// The analysis pass: reads every hit of the report range and counts it.
#pragma once

#include <cstdint>

struct StatsFields;
struct PassResults;
struct SuperLong;

// Finds the logs and counts every hit of the report range into the lists
// and tables; what it writes while it reads goes to PassOutput().  Returns
// the results, valid until FreeAnalysisPass, or null when no log file
// matches the account's patterns.  settings->find may be completed with a
// trailing '*' (subdirs with find_pattern).
PassResults* RunAnalysisPass(StatsFields* settings);
// Frees the lists, the lookup cache and the log reader of the last pass;
// its counters stay readable for tests.
void FreeAnalysisPass();

// The counters of the last pass, kept after its lists were freed (the list
// pointers are then null).  For tests.
const PassResults& AnalysisLastResultsForTesting();
int32_t AnalysisLastTotalHitsForTesting();
SuperLong AnalysisLastTotalBytesForTesting();
// Returns the module state to its process-start values.  For tests.
void AnalysisResetForTesting();

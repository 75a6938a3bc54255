// The analysis pass: reads every hit of the report range and writes the report.
#pragma once

#include <cstdint>

struct StatsFields;
struct CgiEnv;
struct PassResults;
struct SuperLong;

// Runs the whole report: finds the logs (error 11 when there are none),
// counts every hit of the report range into the lists and tables, writes
// the header block, the sections and the footer, and frees what it built.
// settings->find may be completed with a trailing '*' (subdirs with
// find_pattern).  Returns normally after the footer.
void AnalyzeLogs(StatsFields* settings, CgiEnv* env);
void do_bigass_analysis(StatsFields* settings, CgiEnv* env);

// The counters of the last pass, kept after its lists were freed (the list
// pointers are then null).  For tests.
const PassResults& AnalysisLastResultsForTesting();
int32_t AnalysisLastTotalHitsForTesting();
SuperLong AnalysisLastTotalBytesForTesting();
// Returns the module state to its process-start values.  For tests.
void AnalysisResetForTesting();

// One report run after the checks: the analysis pass, then the page.
#pragma once

struct StatsFields;
struct CgiEnv;

// Runs the analysis pass (error 11 when no log file is found), writes the
// report from its results and frees what the pass built.  settings->find
// may be completed with a trailing '*' (subdirs with find_pattern).
void AnalyzeLogs(StatsFields* settings, CgiEnv* env);
void do_bigass_analysis(StatsFields* settings, CgiEnv* env);

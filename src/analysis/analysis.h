// The analysis pass: reads every hit of the report range and writes the report.
#pragma once

struct StatsFields;
struct CgiEnv;

void AnalyzeLogs(StatsFields* settings, CgiEnv* env);
void do_bigass_analysis(StatsFields* settings, CgiEnv* env);

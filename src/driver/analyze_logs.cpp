#include "driver/analyze_logs.h"

#include "analysis/analysis.h"
#include "base/pass_writer.h"
#include "base/time32.h"
#include "report/errors.h"
#include "report/frame.h"
#include "report/page_writer.h"
#include "report/report_page.h"

void AnalyzeLogs(StatsFields* settings, CgiEnv* env) { do_bigass_analysis(settings, env); }

void do_bigass_analysis(StatsFields* settings, CgiEnv* env) {
  ReportStartTime = ll::Time32Now();
  SetPassWriter(&PageWriter());
  PassResults* results = RunAnalysisPass(settings);
  if (!results) ServerError(11, env, settings);
  WriteReport(settings, results);
  FreeAnalysisPass();
}

#include "report/report_page.h"

#include <cstdint>

#include "analysis/pass_results.h"
#include "base/time32.h"
#include "report/frame.h"
#include "report/sections.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

void WriteReport(const StatsFields* settings, PassResults* results) {
  if (settings->debug) PrintMemoryRows(settings);
  DisplayHeader(settings, static_cast<uint32_t>(results->totalHits), results->totalBytes.second,
                results->totalBytes.first);
  if (SuperLog_LogsInRange()) {
    OutputJumpBar(settings);
    PrintReportSections(settings, results);
  }
  ll::time32_t elapsed = ll::Time32Now() - ReportStartTime;
  PrintFooter(settings, elapsed);
}

// The report page after the analysis pass: header block, sections, footer.
#pragma once

struct StatsFields;
struct PassResults;

// Writes the debugging table's memory rows (with debug on), the header
// block, the jump bar and the sections (when a log met the report range)
// and the footer with the time since ReportStartTime.
void WriteReport(const StatsFields* settings, PassResults* results);

// The report page frame: head, header block, jump bar, footer, number formatters.
#pragma once

#include <cstdint>

#include "base/time32.h"
#include "settings/extra_text.h"  // the texts that PrintHead and PrintFooter write

struct StatsFields;
struct CgiEnv;

// Writes the document head and the body tag (with a warning when remote
// debugging is enabled and this is not the remote-debugging page).
void PrintHead(const StatsFields* settings, const CgiEnv* env);
// Writes the header block: logo, title, what was analysed, and the totals
// (requests; bytes served as the two words of a SuperLong, bytesHigh the
// thousand millions) or, with no log in the report range, a row saying so.
// Reads the log reader's date order, range flag and bytes read, and the
// list catalogue for the memory warning.
void DisplayHeader(const StatsFields* settings, uint32_t requests, uint32_t bytesLow,
                   uint32_t bytesHigh);
// Writes the links to the sections that are on; nothing with fewer than two.
void OutputJumpBar(const StatsFields* settings);
// Writes the elapsed time (minutes and seconds), the credit lines, the
// extra footer and the end of the document.
void PrintFooter(const StatsFields* settings, ll::time32_t elapsed);

// Writes the product's credit lines (footer of reports and error pages).
void PrintCreditLines();


// Writes the decimal text of `plain`, or when it is 0 of thousandMillions *
// 10^9 + remainder, with a comma before every group of three digits.
// buffer must hold 26 bytes.
void FormatWithCommas(char* buffer, uint32_t plain, uint32_t thousandMillions, uint32_t remainder);
// Writes " (x.y MB)" from half a megabyte on, " (x.y GB)" from a gigabyte on,
// else nothing.
void PrintMbGbSuffix(uint32_t thousandMillions, uint32_t remainder);

// The report start time, set by the analysis pass.
extern ll::time32_t ReportStartTime;

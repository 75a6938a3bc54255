// The report page frame: head, header block, jump bar, footer, number formatters.
#pragma once

#include <cstdint>

#include "base/time32.h"

struct StatsFields;
struct CgiEnv;

void PrintHead(const StatsFields* settings, const CgiEnv* env);
void DisplayHeader(const StatsFields* settings, uint32_t requests, uint32_t bytesLow,
                   uint32_t bytesHigh);
void OutputJumpBar(const StatsFields* settings);
void PrintFooter(const StatsFields* settings, ll::time32_t elapsed);

// Writes the product's credit lines (footer of reports and error pages).
void PrintCreditLines();

// Ranked setters of the extra header and footer (owned copies in settings).
void log_SetExtraHeader(const char* text, int32_t rank, StatsFields* settings);
void log_SetExtraFooter(const char* text, int32_t rank, StatsFields* settings);
void ResetExtraTextRanksForTesting();

// buffer must hold 26 bytes.
void FormatWithCommas(char* buffer, uint32_t plain, uint32_t thousandMillions, uint32_t remainder);
void PrintMbGbSuffix(uint32_t thousandMillions, uint32_t remainder);

// The report start time, set by the analysis pass.
extern ll::time32_t ReportStartTime;

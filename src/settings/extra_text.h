// The extra header and footer texts that a site or a request puts around
// the report: ranked setters of the owned copies in the settings record.
#pragma once

#include <cstdint>

struct StatsFields;

void log_SetExtraHeader(const char* text, int32_t rank, StatsFields* settings);
void log_SetExtraFooter(const char* text, int32_t rank, StatsFields* settings);
void ResetExtraTextRanksForTesting();

// Releases the extra header and footer texts of settings and empties both
// references; safe to call more than once, and with null.  Every ending of
// a run calls it, the error pages included.
void EndLoglanternCleanup(StatsFields* settings);

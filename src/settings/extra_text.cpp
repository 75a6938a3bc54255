// The extra header and footer texts that a site or a request puts around
// the report.  The texts themselves are owned by the settings record
// (released by EndLoglanternCleanup); the ranks of their origins live here.
#include "settings/extra_text.h"

#include <cstdlib>
#include <cstring>

#include "settings/stats_fields.h"

namespace {

struct {
  int32_t mExtraHeaderRank = kSourceUnset;
  int32_t mExtraFooterRank = kSourceUnset;
} m;

// Replaces *slot by a copy of text when rank is at least *keptRank.  When
// the copy cannot be had the slot ends up empty, but the rank still counts.
void SetRankedText(char** slot, int32_t* keptRank, const char* text, int32_t rank) {
  if (rank < *keptRank) return;
  free(*slot);
  *slot = text ? strdup(text) : nullptr;
  *keptRank = rank;
}

}  // namespace

void log_SetExtraHeader(const char* text, int32_t rank, StatsFields* settings) {
  SetRankedText(&settings->extraHeader, &m.mExtraHeaderRank, text, rank);
}

void log_SetExtraFooter(const char* text, int32_t rank, StatsFields* settings) {
  SetRankedText(&settings->extraFooter, &m.mExtraFooterRank, text, rank);
}

void ResetExtraTextRanksForTesting() {
  m.mExtraHeaderRank = kSourceUnset;
  m.mExtraFooterRank = kSourceUnset;
}

void EndLoglanternCleanup(StatsFields* settings) {
  if (!settings) return;
  free(settings->extraFooter);
  free(settings->extraHeader);
  settings->extraFooter = nullptr;
  settings->extraHeader = nullptr;
}

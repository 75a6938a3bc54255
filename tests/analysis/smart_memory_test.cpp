#include "analysis/smart_memory.h"

#include <gtest/gtest.h>

#include <vector>

#include "analysis/list.h"
#include "base/globals.h"
#include "settings/stats_fields.h"

namespace {

// Three lists in catalogue order (Top URLs, Bad URLs, phrases); settings in the units of the configuration (floor
// in entries, reclaim size and ceiling in K).  Fills Top URLs and the phrases, then counts one more node after
// `refusals` refused allocations: a new one into Bad URLs, or a secondary item under the first URL, which must
// survive.  The reclamation that follows (if any) picks the longest list, stops at the target or the floor.
TEST(SmartMemory, ReclamationStopsAtTargetFloorOrCeilingAndAccountsBytes) {
  constexpr int32_t kNode = 256;
  const struct {
    const char* what;
    int enabled, keep, reclaimK, ceilingK, urls, phrases, refusals;
    int urlsCut, phrasesCut, peakNodes;
    bool secondary = false;
  } cases[] = {
      {"off: nothing counted or cut", 0, 0, 1, 500, 2100, 0, 0, 0, 0, 0},
      {"ceiling under 500 K is none", 1, 0, 1, 499, 2100, 0, 0, 0, 0, 0},
      {"500 K holds 2000 nodes; 1 K frees 4", 1, 0, 1, 500, 2000, 0, 0, 4, 0, 2000},
      {"the floor ends the cut short", 1, 1995, 4, 500, 1998, 2, 0, 3, 0, 2000},
      {"equal lists: first entered, then next", 1, 995, 2, 500, 1000, 1000, 0, 5, 3, 2000},
      {"reclaim size 0 frees nothing", 1, 0, 0, 500, 2003, 0, 0, 0, 0, 2003},
      {"refused memory reclaims, retries", 1, 0, 1, 0, 10, 0, 1, 4, 0, 10},
      {"a floor of one entry is kept", 1, 1, 1000, 0, 3, 0, 1, 2, 0, 3},
      {"the node getting a secondary item stays", 1, 0, 1000, 0, 3, 0, 1, 2, 0, 3, true},
  };
  for (const auto& c : cases) {
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    ItemList* lists[3] = {};
    ListInfo* infos[3] = {};
    for (int i = 0; i < 3; ++i) init_list(&lists[i], &infos[i], i == 0 ? "Top URLs" : i == 1 ? "Bad URLs" : "Google Search Phrases");
    StatsFields settings;
    settings.smartMemoryEnabled = c.enabled, settings.smartMemoryKeepEntries = c.keep;
    settings.smartMemoryReclaimSize = c.reclaimK, settings.smartMemoryMaxMemory = c.ceilingK;
    smart_memory_init(&settings);
    char text[64];
    for (int k = 0; k < c.urls + c.phrases; ++k) {
      snprintf(text, sizeof text, "%s%04d", k < c.urls ? "/u" : "p", k < c.urls ? k : k - c.urls);
      add_item(&lists[k < c.urls ? 0 : 2], infos[k < c.urls ? 0 : 2], text, nullptr, nullptr, 0);
    }
    smart_memory_refuse_allocations_for_testing(c.refusals);
    if (c.secondary) {
      add_item(&lists[0], infos[0], "/u0000", "http://ref/", nullptr, 0);
      EXPECT_EQ(SortList(lists[0])->count, 2) << c.what;
    } else {
      add_item(&lists[1], infos[1], "/x", nullptr, nullptr, 0);
    }
    // URLs kept and counted, nodes reclaimed per list; bytes freed, allocated, current, at the peak.
    const int nodes = c.urls + c.phrases + 1, cut = c.urlsCut + c.phrasesCut, kept = c.urls - c.urlsCut;
    EXPECT_EQ((std::vector<int>{list_length(lists[0]), infos[0]->entries, infos[0]->reclaimed, infos[2]->reclaimed, gSM_TotalBytesFreed,
                                gSM_TotalBytesAllocated, gSM_CurrentBytesAllocated, gSM_MaximumBytesAllocated}),
              (std::vector<int>{kept, c.enabled * kept, c.urlsCut, c.phrasesCut, cut * kNode, c.enabled * nodes * kNode,
                                c.enabled * (nodes - cut) * kNode, c.peakNodes * kNode})) << c.what;
    for (ItemList* list : lists) destroy(list);
    destroyListInfo();
  }
  smart_memory_reset_for_testing();
  ResetGlobalsForTesting();
}

}  // namespace

#include "analysis/smart_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "analysis/list.h"
#include "base/globals.h"
#include "settings/stats_fields.h"

namespace {

constexpr int32_t kNode = 256;

// Three lists in catalogue order, and settings in the units of the
// configuration (floor in entries, reclaim size and ceiling in K).
class SmartMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    for (int i = 0; i < 3; ++i) init_list(&lists_[i], &infos_[i], kNames[i]);
  }
  void TearDown() override {
    for (ItemList* list : lists_) destroy(list);
    destroyListInfo();
    smart_memory_reset_for_testing();
    ResetGlobalsForTesting();
  }
  void Configure(int enabled, int keepEntries, int reclaimK, int ceilingK) {
    StatsFields settings;
    settings.smartMemoryEnabled = enabled, settings.smartMemoryKeepEntries = keepEntries;
    settings.smartMemoryReclaimSize = reclaimK, settings.smartMemoryMaxMemory = ceilingK;
    smart_memory_init(&settings);
  }
  // Adds "<prefix>0000".."<prefix>n-1" to list i, each once.
  void Fill(int i, const char* prefix, int n) {
    char text[64];
    for (int k = 0; k < n; ++k) {
      snprintf(text, sizeof text, "%s%04d", prefix, k);
      add_item(&lists_[i], infos_[i], text, nullptr, nullptr, 0);
    }
  }
  static constexpr const char* kNames[3] = {"Top URLs", "Bad URLs", "Google Search Phrases"};
  static constexpr int kUrls = 0, kBad = 1, kPhrases = 2;
  ItemList* lists_[3] = {};
  ListInfo* infos_[3] = {};
};

// Fills Top URLs and the phrases, then counts one node into Bad URLs after
// `refusals` refused allocations; the reclamation that follows (if any)
// picks the longest list, stops at the target or the floor, and moves on.
TEST_F(SmartMemory, ReclamationStopsAtTargetFloorOrCeilingAndAccountsBytes) {
  struct Case {
    const char* what;
    int enabled, keep, reclaimK, ceilingK, urls, phrases, refusals;
    int urlsCut, phrasesCut, peakNodes;
  } cases[] = {
      {"off: nothing counted or cut", 0, 0, 1, 500, 2100, 0, 0, 0, 0, 0},
      {"ceiling under 500 K is none", 1, 0, 1, 499, 2100, 0, 0, 0, 0, 0},
      {"500 K holds 2000 nodes; 1 K frees 4", 1, 0, 1, 500, 2000, 0, 0, 4, 0, 2000},
      {"the floor ends the cut short", 1, 1995, 4, 500, 1998, 2, 0, 3, 0, 2000},
      {"equal lists: first entered, then next", 1, 995, 2, 500, 1000, 1000, 0, 5, 3, 2000},
      {"reclaim size 0 frees nothing", 1, 0, 0, 500, 2003, 0, 0, 0, 0, 2003},
      {"refused memory reclaims, retries", 1, 0, 1, 0, 10, 0, 1, 4, 0, 10},
      {"a floor of one entry is kept", 1, 1, 1000, 0, 3, 0, 1, 2, 0, 3},
  };
  for (const Case& c : cases) {
    TearDown();
    SetUp();
    Configure(c.enabled, c.keep, c.reclaimK, c.ceilingK);
    Fill(kUrls, "/u", c.urls);
    Fill(kPhrases, "p", c.phrases);
    smart_memory_refuse_allocations_for_testing(c.refusals);
    add_item(&lists_[kBad], infos_[kBad], "/x", nullptr, nullptr, 0);
    const int nodes = c.urls + c.phrases + 1, cut = c.urlsCut + c.phrasesCut;
    EXPECT_EQ(list_length(lists_[kUrls]), c.urls - c.urlsCut) << c.what;
    EXPECT_EQ(infos_[kUrls]->entries, c.enabled ? c.urls - c.urlsCut : 0) << c.what;
    EXPECT_EQ(infos_[kUrls]->reclaimed, c.urlsCut) << c.what;
    EXPECT_EQ(infos_[kPhrases]->reclaimed, c.phrasesCut) << c.what;
    EXPECT_EQ(gSM_TotalBytesFreed, cut * kNode) << c.what;
    EXPECT_EQ(gSM_TotalBytesAllocated, c.enabled * nodes * kNode) << c.what;
    EXPECT_EQ(gSM_CurrentBytesAllocated, c.enabled * (nodes - cut) * kNode) << c.what;
    EXPECT_EQ(gSM_MaximumBytesAllocated, c.peakNodes * kNode) << c.what;
  }
}

}  // namespace

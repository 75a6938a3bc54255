#include "analysis/smart_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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
    init_list(&urls_, &urlsInfo_, "Top URLs");
    init_list(&badUrls_, &badUrlsInfo_, "Bad URLs");
    init_list(&phrases_, &phrasesInfo_, "Google Search Phrases");
  }
  void TearDown() override {
    for (ItemList* list : {urls_, badUrls_, phrases_}) destroy(list);
    destroyListInfo();
    smart_memory_reset_for_testing();
    ResetGlobalsForTesting();
  }
  void Configure(int enabled, int keepEntries, int reclaimK, int ceilingK) {
    StatsFields settings;
    settings.smartMemoryEnabled = enabled;
    settings.smartMemoryKeepEntries = keepEntries;
    settings.smartMemoryReclaimSize = reclaimK;
    settings.smartMemoryMaxMemory = ceilingK;
    smart_memory_init(&settings);
  }
  // Adds "<prefix>0000".."<prefix>n-1", each once.
  void Fill(ItemList** list, ListInfo* info, const char* prefix, int n) {
    char text[64];
    for (int i = 0; i < n; ++i) {
      snprintf(text, sizeof text, "%s%04d", prefix, i);
      add_item(list, info, text, nullptr, nullptr, 0);
    }
  }
  static ListItem* Find(ItemList* list, const char* text) {
    std::vector<ListItem*> nodes(list_length(list) + 1);
    nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
    for (ListItem* node : nodes)
      if (strcmp(node->item, text) == 0) return node;
    return nullptr;
  }

  ItemList* urls_ = nullptr;
  ItemList* badUrls_ = nullptr;
  ItemList* phrases_ = nullptr;
  ListInfo* urlsInfo_ = nullptr;
  ListInfo* badUrlsInfo_ = nullptr;
  ListInfo* phrasesInfo_ = nullptr;
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
    Fill(&urls_, urlsInfo_, "/u", c.urls);
    Fill(&phrases_, phrasesInfo_, "p", c.phrases);
    smart_memory_refuse_allocations_for_testing(c.refusals);
    add_item(&badUrls_, badUrlsInfo_, "/x", nullptr, nullptr, 0);
    const int nodes = c.urls + c.phrases + 1, cut = c.urlsCut + c.phrasesCut;
    EXPECT_EQ(list_length(urls_), c.urls - c.urlsCut) << c.what;
    EXPECT_EQ(urlsInfo_->entries, c.enabled ? c.urls - c.urlsCut : 0) << c.what;
    EXPECT_EQ(urlsInfo_->reclaimed, c.urlsCut) << c.what;
    EXPECT_EQ(phrasesInfo_->reclaimed, c.phrasesCut) << c.what;
    EXPECT_EQ(gSM_TotalBytesFreed, cut * kNode) << c.what;
    EXPECT_EQ(gSM_TotalBytesAllocated, c.enabled * nodes * kNode) << c.what;
    EXPECT_EQ(gSM_CurrentBytesAllocated, c.enabled * (nodes - cut) * kNode) << c.what;
    EXPECT_EQ(gSM_MaximumBytesAllocated, c.peakNodes * kNode) << c.what;
  }
}

TEST_F(SmartMemory, VictimsGoByLowestCountThenTextWithTheirSecondaryNodes) {
  Configure(1, 0, 2, 500);  // 2 K: eight nodes
  add_item(&urls_, urlsInfo_, "/r0000", "http://r1/", nullptr, 0);
  add_item(&urls_, urlsInfo_, "/r0000", "http://r2/", nullptr, 0);  // three nodes
  Fill(&urls_, urlsInfo_, "/u", 1997);
  std::vector<ListItem*> nodes(1998);
  ASSERT_EQ(ListLowestItems(urls_, nullptr, nodes.data(), 1998), 1998);
  for (ListItem* node : nodes) node->count = 5;
  Find(urls_, "/u1996")->count = 1;
  Find(urls_, "/u0007")->count = 0;  // reclaimed like a count of 1
  Find(urls_, "/u0500")->count = 2;
  Find(urls_, "/r0000")->count = 2;
  add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
  for (const char* gone : {"/u0007", "/u1996", "/r0000", "/u0500", "/u0000", "/u0001"})
    EXPECT_EQ(Find(urls_, gone), nullptr) << gone;
  for (const char* kept : {"/u0002", "/u0501", "/new"}) EXPECT_NE(Find(urls_, kept), nullptr) << kept;
  EXPECT_EQ(gSM_TotalBytesFreed, 8 * kNode);
}

TEST_F(SmartMemory, NodeReceivingASecondaryItemIsNeverFreed) {
  Configure(1, 0, 1000, 0);  // floor 0, a target no list can meet
  Fill(&badUrls_, badUrlsInfo_, "/b", 3);
  smart_memory_refuse_allocations_for_testing(1);
  add_item(&badUrls_, badUrlsInfo_, "/b0000", "http://ref/", nullptr, 0);
  ASSERT_EQ(list_length(badUrls_), 1);
  EXPECT_EQ(Find(badUrls_, "/b0000")->count, 2);
  EXPECT_EQ(badUrlsInfo_->reclaimed, 2);
  Configure(1, -5, 1000, 0);  // a negative floor with nothing left ends too
  smart_free(nullptr);
  EXPECT_EQ(list_length(badUrls_), 0);
}

TEST_F(SmartMemory, NodeThatCannotBeHadEndsTheRunWithStatus1) {
  for (int enabled : {1, 0}) {
    Configure(enabled, 0, 1, 0);
    Fill(&urls_, urlsInfo_, "/u", 10);
    smart_memory_refuse_allocations_for_testing(1 + enabled);
    EXPECT_EXIT(add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0), ::testing::ExitedWithCode(1), "");
  }
}

TEST_F(SmartMemory, StrdupCopiesUnaccountedAndReclaimsOnlyWhenOn) {
  Configure(1, 0, 1, 0);
  EXPECT_EQ(smart_strdup(nullptr), nullptr);
  Fill(&urls_, urlsInfo_, "/u", 10);
  const int32_t accounted = gSM_TotalBytesAllocated;
  smart_memory_refuse_allocations_for_testing(1);
  char* copy = smart_strdup("host.example.org");
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy, "host.example.org");
  free(copy);
  EXPECT_EQ(gSM_TotalBytesAllocated, accounted);
  EXPECT_EQ(urlsInfo_->reclaimed, 4);
  smart_memory_refuse_allocations_for_testing(2);
  EXPECT_EQ(smart_strdup("10.0.0.1"), nullptr);
  Configure(0, 0, 1, 0);
  smart_memory_refuse_allocations_for_testing(1);
  EXPECT_EQ(smart_strdup("x"), nullptr);
  EXPECT_EQ(urlsInfo_->reclaimed, 8);
}

}  // namespace

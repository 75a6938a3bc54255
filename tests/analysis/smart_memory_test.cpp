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

// Three lists in catalogue order, and settings given in the units of the
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
    destroy(urls_);
    destroy(badUrls_);
    destroy(phrases_);
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
  // Adds `n` distinct texts "<prefix>0000".."<prefix>n-1", each once.
  void Fill(ItemList** list, ListInfo* info, const char* prefix, int n) {
    char text[64];
    for (int i = 0; i < n; ++i) {
      snprintf(text, sizeof text, "%s%04d", prefix, i);
      add_item(list, info, text, nullptr, nullptr, 0);
    }
  }
  // The nodes of a list, in no order that matters here; the list can still
  // be counted into afterwards (unlike after SortList).
  static std::vector<ListItem*> Nodes(ItemList* list) {
    std::vector<ListItem*> nodes(list_length(list));
    nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
    return nodes;
  }
  static ListItem* Find(ItemList* list, const char* text) {
    for (ListItem* node : Nodes(list))
      if (strcmp(node->item, text) == 0) return node;
    return nullptr;
  }
  static bool Has(ItemList* list, const char* text) { return Find(list, text) != nullptr; }

  ItemList* urls_ = nullptr;
  ItemList* badUrls_ = nullptr;
  ItemList* phrases_ = nullptr;
  ListInfo* urlsInfo_ = nullptr;
  ListInfo* badUrlsInfo_ = nullptr;
  ListInfo* phrasesInfo_ = nullptr;
};

TEST_F(SmartMemory, OffCountsNothingAndNeverReclaims) {
  Configure(0, 0, 1, 500);
  Fill(&urls_, urlsInfo_, "/u", 2500);
  EXPECT_EQ(list_length(urls_), 2500);
  EXPECT_EQ(urlsInfo_->entries, 0);
  EXPECT_EQ(urlsInfo_->reclaimed, 0);
  EXPECT_EQ(gSM_TotalBytesAllocated, 0);
  EXPECT_EQ(gSM_CurrentBytesAllocated, 0);
  EXPECT_EQ(gSM_TotalBytesFreed, 0);
}

TEST_F(SmartMemory, CeilingBelow500KIsNoCeiling) {
  Configure(1, 0, 1, 499);
  Fill(&urls_, urlsInfo_, "/u", 2100);
  EXPECT_EQ(list_length(urls_), 2100);
  EXPECT_EQ(urlsInfo_->entries, 2100);
  EXPECT_EQ(gSM_TotalBytesAllocated, 2100 * kNode);
  EXPECT_EQ(gSM_CurrentBytesAllocated, 2100 * kNode);
  EXPECT_EQ(gSM_MaximumBytesAllocated, 0);  // only reclamations raise the peak
  EXPECT_EQ(gSM_TotalBytesFreed, 0);
}

TEST_F(SmartMemory, CeilingOf500KHolds2000NodesThenCutsInTextOrder) {
  Configure(1, 0, 1, 500);  // 512,000 bytes; 1 K frees four nodes
  Fill(&urls_, urlsInfo_, "/u", 2000);
  EXPECT_EQ(urlsInfo_->reclaimed, 0);
  add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
  EXPECT_EQ(urlsInfo_->reclaimed, 4);
  EXPECT_EQ(urlsInfo_->entries, 1997);
  EXPECT_EQ(list_length(urls_), 1997);
  for (const char* gone : {"/u0000", "/u0001", "/u0002", "/u0003"}) EXPECT_FALSE(Has(urls_, gone));
  EXPECT_TRUE(Has(urls_, "/u0004"));
  EXPECT_TRUE(Has(urls_, "/new"));
  EXPECT_EQ(gSM_TotalBytesAllocated, 2001 * kNode);
  EXPECT_EQ(gSM_CurrentBytesAllocated, 1997 * kNode);
  EXPECT_EQ(gSM_MaximumBytesAllocated, 2000 * kNode);
  EXPECT_EQ(gSM_TotalBytesFreed, 4 * kNode);
}

TEST_F(SmartMemory, LowestCountsGoFirstThenTextOrder) {
  Configure(1, 0, 1, 500);
  Fill(&urls_, urlsInfo_, "/u", 2000);
  // Raise everything but three nodes; of those, /u0500 twice.
  for (ListItem* node : Nodes(urls_)) node->count = 5;
  Find(urls_, "/u1999")->count = 1;
  Find(urls_, "/u0500")->count = 2;
  Find(urls_, "/u0007")->count = 1;
  add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
  // Count 1 in text order (/u0007, /u1999), then count 2 (/u0500), then the
  // first node of count 5.
  for (const char* gone : {"/u0007", "/u1999", "/u0500", "/u0000"}) EXPECT_FALSE(Has(urls_, gone)) << gone;
  EXPECT_TRUE(Has(urls_, "/u0001"));
  EXPECT_EQ(urlsInfo_->reclaimed, 4);
}

TEST_F(SmartMemory, FloorEndsTheCutShortOfTheTarget) {
  Configure(1, 1995, 4, 500);  // 4 K = 16 nodes wanted
  Fill(&urls_, urlsInfo_, "/u", 1998);
  Fill(&phrases_, phrasesInfo_, "p", 2);
  add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
  // Top URLs goes down to the floor (3 nodes); every list is then at or
  // below the floor, so the reclamation ends short of its target.
  EXPECT_EQ(urlsInfo_->reclaimed, 3);
  EXPECT_EQ(urlsInfo_->entries, 1996);  // 1995 + the new node
  EXPECT_EQ(phrasesInfo_->reclaimed, 0);
  EXPECT_EQ(gSM_TotalBytesFreed, 3 * kNode);
}

TEST_F(SmartMemory, EqualListsCutTheFirstEnteredThenTheNextLongest) {
  Configure(1, 995, 2, 500);  // 2 K = 8 nodes wanted
  Fill(&urls_, urlsInfo_, "/u", 1000);
  Fill(&phrases_, phrasesInfo_, "p", 1000);
  add_item(&badUrls_, badUrlsInfo_, "/x", nullptr, nullptr, 0);
  EXPECT_EQ(urlsInfo_->reclaimed, 5);  // down to the floor
  EXPECT_EQ(phrasesInfo_->reclaimed, 3);  // the rest of the target
  EXPECT_FALSE(Has(phrases_, "p0002"));
  EXPECT_TRUE(Has(phrases_, "p0003"));
  EXPECT_EQ(badUrlsInfo_->entries, 1);
  EXPECT_EQ(gSM_TotalBytesFreed, 8 * kNode);
}

TEST_F(SmartMemory, SecondaryNodesAreFreedWithTheirItemAndCount) {
  Configure(1, 0, 1, 500);
  // /a0000 holds three referrers: freeing it alone frees four nodes, the
  // whole target.
  add_item(&badUrls_, badUrlsInfo_, "/a0000", "http://r1/", nullptr, 0);
  add_item(&badUrls_, badUrlsInfo_, "/a0000", "http://r2/", nullptr, 0);
  add_item(&badUrls_, badUrlsInfo_, "/a0000", "http://r3/", nullptr, 0);
  Find(badUrls_, "/a0000")->count = 1;
  Fill(&badUrls_, badUrlsInfo_, "/b", 1996);
  EXPECT_EQ(badUrlsInfo_->entries, 1997);  // secondary nodes are not entries
  EXPECT_EQ(gSM_CurrentBytesAllocated, 2000 * kNode);
  add_item(&badUrls_, badUrlsInfo_, "/new", nullptr, nullptr, 0);
  EXPECT_FALSE(Has(badUrls_, "/a0000"));
  EXPECT_TRUE(Has(badUrls_, "/b0000"));
  EXPECT_EQ(badUrlsInfo_->reclaimed, 1);
  EXPECT_EQ(gSM_TotalBytesFreed, 4 * kNode);
  EXPECT_EQ(gSM_CurrentBytesAllocated, 1997 * kNode);
}

TEST_F(SmartMemory, NodeReceivingASecondaryItemIsNeverFreed) {
  Configure(1, 0, 1, 500);
  Fill(&badUrls_, badUrlsInfo_, "/b", 2000);
  // Counted once more, /b0000 is still the first victim in line (count 1,
  // first in text order), but it is the parent of the referrer whose node
  // hits the ceiling.
  ListItem* parent = Find(badUrls_, "/b0000");
  parent->count = 0;
  add_item(&badUrls_, badUrlsInfo_, "/b0000", "http://ref/", nullptr, 0);
  EXPECT_EQ(Find(badUrls_, "/b0000"), parent);
  EXPECT_EQ(parent->count, 1);
  EXPECT_EQ(list_length(parent->sublist), 1);
  for (const char* gone : {"/b0001", "/b0002", "/b0003", "/b0004"}) EXPECT_FALSE(Has(badUrls_, gone));
  EXPECT_EQ(badUrlsInfo_->entries, 1996);
}

TEST_F(SmartMemory, ReclamationEndsWhenOnlyTheProtectedNodeIsLeft) {
  Configure(1, 0, 1000, 0);  // floor 0, a target no list can meet
  Fill(&badUrls_, badUrlsInfo_, "/b", 3);
  smart_memory_refuse_allocations_for_testing(1);
  add_item(&badUrls_, badUrlsInfo_, "/b0001", "http://ref/", nullptr, 0);
  EXPECT_EQ(list_length(badUrls_), 1);
  EXPECT_TRUE(Has(badUrls_, "/b0001"));
  EXPECT_EQ(badUrlsInfo_->entries, 1);
  EXPECT_EQ(badUrlsInfo_->reclaimed, 2);
  EXPECT_EQ(gSM_TotalBytesFreed, 2 * kNode);
  EXPECT_EQ(gSM_MaximumBytesAllocated, 3 * kNode);

  // A negative floor with an empty list ends as well.
  Configure(1, -5, 1000, 0);
  smart_free(nullptr);
  smart_free(nullptr);
  EXPECT_EQ(list_length(badUrls_), 0);
  EXPECT_EQ(badUrlsInfo_->entries, 0);
}

TEST_F(SmartMemory, ReclaimSizeOfZeroFreesNothing) {
  Configure(1, 0, 0, 500);
  Fill(&urls_, urlsInfo_, "/u", 2003);
  EXPECT_EQ(list_length(urls_), 2003);
  EXPECT_EQ(gSM_TotalBytesFreed, 0);
  EXPECT_EQ(gSM_MaximumBytesAllocated, 2002 * kNode);  // raised before each attempt
}

TEST_F(SmartMemory, RefusedMemoryReclaimsThenRetriesOnce) {
  Configure(1, 0, 1, 0);
  Fill(&urls_, urlsInfo_, "/u", 10);
  smart_memory_refuse_allocations_for_testing(1);
  add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
  EXPECT_EQ(list_length(urls_), 7);
  EXPECT_EQ(urlsInfo_->reclaimed, 4);
  EXPECT_EQ(gSM_MaximumBytesAllocated, 10 * kNode);
}

TEST_F(SmartMemory, NodeThatCannotBeHadEndsTheRunWithStatus1) {
  Configure(1, 0, 1, 0);
  Fill(&urls_, urlsInfo_, "/u", 10);
  EXPECT_EXIT(
      {
        smart_memory_refuse_allocations_for_testing(2);
        add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
      },
      ::testing::ExitedWithCode(1), "");
  Configure(0, 0, 1, 0);
  EXPECT_EXIT(
      {
        smart_memory_refuse_allocations_for_testing(1);
        add_item(&urls_, urlsInfo_, "/new", nullptr, nullptr, 0);
      },
      ::testing::ExitedWithCode(1), "");
}

TEST_F(SmartMemory, StrdupCopiesAndReclaimsOnRefusal) {
  Configure(1, 0, 1, 0);
  EXPECT_EQ(smart_strdup(nullptr), nullptr);
  char* copy = smart_strdup("host.example.org");
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy, "host.example.org");
  free(copy);
  EXPECT_EQ(gSM_TotalBytesAllocated, 0);  // copies are not accounted

  Fill(&urls_, urlsInfo_, "/u", 10);
  smart_memory_refuse_allocations_for_testing(1);
  copy = smart_strdup("10.0.0.1");
  ASSERT_NE(copy, nullptr);
  free(copy);
  EXPECT_EQ(urlsInfo_->reclaimed, 4);
  smart_memory_refuse_allocations_for_testing(2);
  EXPECT_EQ(smart_strdup("10.0.0.1"), nullptr);

  Configure(0, 0, 1, 0);  // off: a plain copy, no reclamation on refusal
  smart_memory_refuse_allocations_for_testing(1);
  EXPECT_EQ(smart_strdup("x"), nullptr);
  EXPECT_EQ(urlsInfo_->reclaimed, 8);
}

}  // namespace

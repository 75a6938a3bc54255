#include "analysis/list.h"

#include <gtest/gtest.h>

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "analysis/smart_memory.h"
#include "base/globals.h"

namespace {

using Row = std::pair<std::string, int>;

std::vector<Row> Chain(const ListItem* head) {
  std::vector<Row> rows;
  for (; head; head = head->next) rows.emplace_back(head->item, head->count);
  return rows;
}

// Every node of the list, ascending in the list's text comparison.
std::vector<Row> TextOrder(ItemList* list, int ignoreCase = 0) {
  std::vector<ListItem*> nodes(list_length(list));
  nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
  std::vector<Row> rows;
  for (ListItem* node : nodes) rows.emplace_back(node->item, node->count);
  std::sort(rows.begin(), rows.end(), [ignoreCase](const Row& a, const Row& b) {
    return (ignoreCase ? strcasecmp(a.first.c_str(), b.first.c_str()) : strcmp(a.first.c_str(), b.first.c_str())) < 0;
  });
  return rows;
}

class ItemTable : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    init_list(&list_, &info_, "Top URLs");
  }
  void TearDown() override {
    ListRefuseSortMemoryForTesting(false);
    destroy(list_);
    destroyListInfo();
    smart_memory_reset_for_testing();
    ResetGlobalsForTesting();
  }
  void Add(const char* text, const char* secondary = nullptr, int ignoreCase = 0) {
    add_item(&list_, info_, text, secondary, nullptr, ignoreCase);
  }
  ListItem* Find(const char* text) {
    for (ListItem* node = SortList(list_); node; node = node->next)
      if (strcmp(node->item, text) == 0) return node;
    return nullptr;
  }

  ItemList* list_ = nullptr;
  ListInfo* info_ = nullptr;
};

TEST_F(ItemTable, CountingFoldsCaseOnlyForIgnoreCaseListsAndCutsLongTexts) {
  Add(nullptr);
  Add("");
  EXPECT_EQ(list_, nullptr);
  // The first count fixes the comparison and the kept spelling; '[' and
  // bytes above 127 are not letters.
  for (const char* text : {"/Index.html", "/index.html", "/INDEX.HTML", "[", "\xC4", "\xE4", "Zz", "zZ"}) Add(text, nullptr, 1);
  Add("/index.HTML", nullptr, 0);
  const std::string base(243, 'x');
  Add((base + "first").c_str(), nullptr, 1);
  Add(base.c_str(), nullptr, 1);
  EXPECT_EQ(TextOrder(list_, 1),
            (std::vector<Row>{{"/Index.html", 4}, {"[", 1}, {base, 2}, {"Zz", 2}, {"\xC4", 1}, {"\xE4", 1}}));
  EXPECT_EQ(TotalList(list_), 11);
  ItemList* exact = nullptr;
  for (const char* text : {"/index.html", "/Index.html", "/index.html"}) add_item(&exact, info_, text, nullptr, nullptr, 0);
  EXPECT_EQ(TextOrder(exact), (std::vector<Row>{{"/Index.html", 1}, {"/index.html", 2}}));
  destroy(exact);
}

TEST_F(ItemTable, KeysMadeAheadCountLikeTheirTexts) {
  // A key may cover the first bytes of a longer text (a URL cut at its
  // query) and may be made before the list exists with another comparison
  // than the one the list ends up with.
  const char* withQuery = "/search.html?q=lantern";
  ItemKey cut = MakeItemKey(list_, withQuery, 12, 0);
  ItemKey upper = MakeItemKey(list_, "/SEARCH.HTML", 12, 0);
  ItemKey folded = MakeItemKey(list_, "/Search.html", 12, 1);
  add_item_key(&list_, info_, folded, nullptr, nullptr);
  PrefetchItemSlot(list_, cut);
  PrefetchItemNode(list_, cut);
  add_item_key(&list_, info_, cut, "http://a/", nullptr);
  add_item_key(&list_, info_, upper, nullptr, nullptr);
  add_item_key(&list_, info_, MakeItemKey(list_, withQuery, 0, 1), nullptr, nullptr);
  EXPECT_EQ(TextOrder(list_, 1), (std::vector<Row>{{"/Search.html", 3}}));
  EXPECT_EQ(list_length(Find("/Search.html")->sublist), 1);
}

TEST_F(ItemTable, SecondaryItemsAreCountedUnderTheirItem) {
  for (const char* referrer : {"http://a/", "http://b/", "", "http://a/"}) Add("/missing", referrer);
  Add("/other");
  ListItem* missing = Find("/missing");
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(missing->count, 4);
  EXPECT_EQ(Chain(SortList(missing->sublist)), (std::vector<Row>{{"http://a/", 2}, {"http://b/", 1}}));
  EXPECT_EQ(Find("/other")->sublist, nullptr);
  EXPECT_EQ(list_length(list_), 2);  // secondary nodes are not the list's
}

// Random lists of many sizes and tied counts, sorted with and without the
// sort array (as when memory is refused), against the standard library:
// count descending, then text descending in the list's comparison.
TEST_F(ItemTable, SortAgreesWithStandardSortWithAndWithoutSortMemory) {
  std::mt19937 random(7);
  for (int round = 0; round < 24; ++round) {
    const int ignoreCase = round % 2;
    ListRefuseSortMemoryForTesting(round % 4 >= 2);
    ItemList* list = nullptr;
    const int size = std::vector<int>{0, 1, 2, 3, 5, 17, 300, 2100}[round / 3];
    for (int i = 0; i < size; ++i) {
      std::string text;
      for (int n = 1 + random() % 12; n > 0; --n) text += "aAbB_[z"[random() % 7];
      for (int c = random() % 4; c >= 0; --c) add_item(&list, info_, text.c_str(), nullptr, nullptr, ignoreCase);
    }
    std::vector<Row> expected = TextOrder(list, ignoreCase);
    std::reverse(expected.begin(), expected.end());
    std::stable_sort(expected.begin(), expected.end(), [](const Row& a, const Row& b) { return a.second > b.second; });
    ASSERT_EQ(Chain(SortList(list)), expected) << "round " << round;
    destroy(list);
  }
}

TEST_F(ItemTable, MoveItemRelinksByText) {
  for (const char* text : {"a", "b", "c", "d"}) Add(text);
  ListItem* head = SortList(list_);  // d c b a
  head = MoveItem(head, "d", "b");   // the head's own text: unchanged
  EXPECT_EQ(Chain(head), (std::vector<Row>{{"d", 1}, {"c", 1}, {"b", 1}, {"a", 1}}));
  head = MoveItem(head, "a", "");
  EXPECT_EQ(Chain(head), (std::vector<Row>{{"a", 1}, {"d", 1}, {"c", 1}, {"b", 1}}));
  head = MoveItem(head, "c", "a");
  EXPECT_EQ(Chain(head), (std::vector<Row>{{"a", 1}, {"c", 1}, {"d", 1}, {"b", 1}}));
  head = MoveItem(head, "d", "b");
  EXPECT_EQ(Chain(head), (std::vector<Row>{{"a", 1}, {"c", 1}, {"b", 1}, {"d", 1}}));
}

TEST_F(ItemTable, CatalogueKeepsOrderOfEntry) {
  ItemList* second = nullptr;
  ListInfo* secondInfo = nullptr;
  init_list(&second, &secondInfo, "Top Referrers");
  EXPECT_EQ(info_->next, secondInfo);
  EXPECT_EQ(gListInfo.last, secondInfo);
  EXPECT_EQ(secondInfo->list, &second);
  EXPECT_STREQ(secondInfo->name, "Top Referrers");
  destroyListInfo();
  EXPECT_EQ(gListInfo.first, nullptr);
}

TEST_F(ItemTable, RemovedNodesLeaveTheRestFindableAfterGrowth) {
  for (int i = 0; i < 5000; ++i) Add(("/item" + std::to_string(i)).c_str());
  std::vector<ListItem*> nodes(5000);
  ASSERT_EQ(ListLowestItems(list_, nullptr, nodes.data(), 5000), 5000);
  for (size_t i = 0; i < nodes.size(); i += 3) EXPECT_EQ(ListRemoveItem(list_, nodes[i]), 1);
  EXPECT_EQ(list_length(list_), 5000 - 1667);
  for (int i = 0; i < 5000; ++i) Add(("/item" + std::to_string(i)).c_str());
  EXPECT_EQ(list_length(list_), 5000);
  EXPECT_EQ(TotalList(list_), 3333 * 2 + 1667);
}

TEST_F(ItemTable, LowestItemsComeByCountThenTextInBoundedBatches) {
  for (int i = 0; i < 6000; ++i) Add(("/p" + std::to_string(10000 + i)).c_str());
  for (const char* text : {"/z2", "/z2", "/a3", "/a3", "/a3", "/m2", "/m2"}) Add(text);
  std::vector<ListItem*> all(6010);
  ASSERT_EQ(ListLowestItems(list_, nullptr, all.data(), 6010), 6003);
  EXPECT_STREQ(all[0]->item, "/p10000");
  EXPECT_STREQ(all[5999]->item, "/p15999");
  EXPECT_STREQ(all[6000]->item, "/m2");
  EXPECT_STREQ(all[6001]->item, "/z2");
  EXPECT_STREQ(all[6002]->item, "/a3");
  // A cut among the count-1 texts: one bounded batch in text order, without
  // the protected node.
  std::vector<ListItem*> out(5000);
  ASSERT_EQ(ListLowestItems(list_, all[0], out.data(), 5000), 4096);
  EXPECT_STREQ(out[0]->item, "/p10001");
  EXPECT_STREQ(out[4095]->item, "/p14096");
  for (int i = 0; i < 6000; ++i) ListRemoveItem(list_, all[i]);
  ASSERT_EQ(ListLowestItems(list_, nullptr, out.data(), 1), 1);
  EXPECT_STREQ(out[0]->item, "/m2");
}

TEST(ListHash, MatchesPublishedLookup2ValuesAndReadsHighBytesUnsigned) {
  EXPECT_EQ(hash("", 0, 0), 0xbd49d10du);
  EXPECT_EQ(hash("192.168.1.1", 11, 0), 0x8a0abdf1u);
  EXPECT_EQ(hash("abcdefghijklmnopqrstuvwxyz", 26, 0), 0xc52fcee8u);
  // One full 12-byte block and a 9-byte tail, every byte above 127: a
  // sign-extended byte or a wrong tail shift changes the value.
  const char key[] = "\xff\xfe\x80\x81\x90\xa0\xb0\xc0\xd0\xe0\xf0\xff\xfe\xfd\xfc\xfb\xfa\xf9\xf8\xf7\xf6";
  EXPECT_EQ(hash(key, 21, 0x12345678u), 0x50d80604u);
}

}  // namespace

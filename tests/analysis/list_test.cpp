#include "analysis/list.h"

#include <gtest/gtest.h>

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "analysis/smart_memory.h"
#include "base/globals.h"

namespace {

using Row = std::pair<std::string, int>;

// The chain from head as (text, count) rows.
std::vector<Row> Chain(const ListItem* head) {
  std::vector<Row> rows;
  for (; head; head = head->next) rows.emplace_back(head->item, head->count);
  return rows;
}

// The list in its counting order: ascending text order under the list's
// comparison.
std::vector<Row> TextOrder(ItemList* list, int ignoreCase = 0) {
  std::vector<ListItem*> nodes(list_length(list));
  nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
  std::sort(nodes.begin(), nodes.end(), [ignoreCase](const ListItem* a, const ListItem* b) {
    return (ignoreCase ? strcasecmp(a->item, b->item) : strcmp(a->item, b->item)) < 0;
  });
  std::vector<Row> rows;
  for (ListItem* node : nodes) rows.emplace_back(node->item, node->count);
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

TEST_F(ItemTable, CountsEachTextOnceInTextOrder) {
  for (const char* text : {"b", "a", "c", "a"}) Add(text);
  EXPECT_EQ(TextOrder(list_), (std::vector<Row>{{"a", 2}, {"b", 1}, {"c", 1}}));
  EXPECT_EQ(list_length(list_), 3);
  EXPECT_EQ(TotalList(list_), 4);
}

TEST_F(ItemTable, NullAndEmptyTextsCountNothing) {
  Add(nullptr);
  Add("");
  EXPECT_EQ(list_, nullptr);
  EXPECT_EQ(list_length(list_), 0);
  EXPECT_EQ(TotalList(list_), 0);
  EXPECT_EQ(SortList(list_), nullptr);
}

TEST_F(ItemTable, IgnoreCaseListKeepsTheFirstSpellingOthersKeepVariants) {
  Add("/Index.html", nullptr, 1);
  Add("/index.html", nullptr, 1);
  Add("/INDEX.HTML", nullptr, 1);
  EXPECT_EQ(TextOrder(list_), (std::vector<Row>{{"/Index.html", 3}}));
  ItemList* exact = nullptr;
  add_item(&exact, info_, "/index.html", nullptr, nullptr, 0);
  add_item(&exact, info_, "/Index.html", nullptr, nullptr, 0);
  EXPECT_EQ(TextOrder(exact), (std::vector<Row>{{"/Index.html", 1}, {"/index.html", 1}}));
  destroy(exact);
}

TEST_F(ItemTable, IgnoreCaseIsFixedByTheFirstCount) {
  Add("Mozilla", nullptr, 1);
  Add("MOZILLA", nullptr, 0);
  EXPECT_EQ(TextOrder(list_), (std::vector<Row>{{"Mozilla", 2}}));
}

TEST_F(ItemTable, FoldingTouchesOnlyAsciiLetters) {
  // '[' sorts before 'a' but after 'A'; bytes above 127 are not letters.
  for (const char* text : {"a", "[", "\xC4", "\xE4", "@"}) Add(text, nullptr, 1);
  Add("A", nullptr, 1);
  EXPECT_EQ(TextOrder(list_, 1),
            (std::vector<Row>{{"@", 1}, {"[", 1}, {"a", 2}, {"\xC4", 1}, {"\xE4", 1}}));
}

TEST_F(ItemTable, LongTextsAreCutAt243Characters) {
  std::string base(243, 'x');
  Add((base + "first").c_str());
  Add((base + "second").c_str());
  Add(base.c_str());
  ASSERT_EQ(list_length(list_), 1);
  EXPECT_EQ(TextOrder(list_), (std::vector<Row>{{base, 3}}));
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
  EXPECT_EQ(TotalList(list_), 3);
  EXPECT_EQ(list_length(Find("/Search.html")->sublist), 1);
}

TEST_F(ItemTable, SecondaryItemsAreCountedUnderTheirItem) {
  Add("/missing", "http://a/");
  Add("/missing", "http://a/");
  Add("/missing", "");
  Add("/missing", "http://b/");
  Add("/other");
  ListItem* missing = Find("/missing");
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(missing->count, 4);
  EXPECT_EQ(TextOrder(missing->sublist), (std::vector<Row>{{"http://a/", 2}, {"http://b/", 1}}));
  EXPECT_EQ(Chain(SortList(missing->sublist)),
            (std::vector<Row>{{"http://a/", 2}, {"http://b/", 1}}));
  EXPECT_EQ(Find("/other")->sublist, nullptr);
  EXPECT_EQ(list_length(list_), 2);  // secondary nodes are not the list's
}

TEST_F(ItemTable, SortOrdersByCountThenReverseText) {
  for (int i = 0; i < 5; ++i) Add("alpha");
  for (int i = 0; i < 3; ++i) Add("beta");
  for (int i = 0; i < 3; ++i) Add("delta");
  for (int i = 0; i < 5; ++i) Add("gamma");
  EXPECT_EQ(Chain(SortList(list_)),
            (std::vector<Row>{{"gamma", 5}, {"alpha", 5}, {"delta", 3}, {"beta", 3}}));
}

TEST_F(ItemTable, SortTiesFollowTheListsComparison) {
  // Under strcasecmp "_x" sorts before "b"; under strcmp after "B".
  for (const char* text : {"B", "_x", "a"}) Add(text, nullptr, 1);
  EXPECT_EQ(Chain(SortList(list_)), (std::vector<Row>{{"B", 1}, {"a", 1}, {"_x", 1}}));
  ItemList* exact = nullptr;
  for (const char* text : {"B", "_x", "a"}) add_item(&exact, info_, text, nullptr, nullptr, 0);
  EXPECT_EQ(Chain(SortList(exact)), (std::vector<Row>{{"a", 1}, {"_x", 1}, {"B", 1}}));
  destroy(exact);
}

TEST_F(ItemTable, SortOfLargeListIsStrictlyDescending) {
  // Counts 1..600 given in a scrambled order, plus many ties at 1.
  for (int i = 1; i <= 600; ++i) {
    std::string text = "/page" + std::to_string((i * 7919) % 600);
    Add(text.c_str());
  }
  for (int k = 0; k < 300; ++k) {
    std::string text = "/hot" + std::to_string(k);
    for (int i = 0; i <= k; ++i) Add(text.c_str());
  }
  std::vector<Row> sorted = Chain(SortList(list_));
  ASSERT_EQ(sorted.size(), 900u);
  for (size_t i = 1; i < sorted.size(); ++i) {
    bool ordered = sorted[i - 1].second > sorted[i].second ||
                   (sorted[i - 1].second == sorted[i].second && sorted[i - 1].first > sorted[i].first);
    ASSERT_TRUE(ordered) << i;
  }
  EXPECT_EQ(sorted.front(), (Row{"/hot299", 300}));
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
  EXPECT_EQ(gListInfo.first, info_);
  EXPECT_EQ(gListInfo.last, secondInfo);
  EXPECT_EQ(info_->next, secondInfo);
  EXPECT_EQ(secondInfo->list, &second);
  EXPECT_STREQ(secondInfo->name, "Top Referrers");
  EXPECT_EQ(secondInfo->entries, 0);
  destroyListInfo();
  EXPECT_EQ(gListInfo.first, nullptr);
  EXPECT_EQ(gListInfo.last, nullptr);
}

TEST_F(ItemTable, ManyTextsSurviveGrowthAndRemoval) {
  for (int i = 0; i < 5000; ++i) Add(("/item" + std::to_string(i)).c_str());
  // Remove every third node, then count all texts again: the survivors must
  // still be found (not duplicated) after the table shifted entries back.
  std::vector<ListItem*> nodes(5000);
  ASSERT_EQ(ListLowestItems(list_, nullptr, nodes.data(), 5000), 5000);
  for (size_t i = 0; i < nodes.size(); i += 3) EXPECT_EQ(ListRemoveItem(list_, nodes[i]), 1);
  int left = list_length(list_);
  EXPECT_EQ(left, 5000 - 1667);
  for (int i = 0; i < 5000; ++i) Add(("/item" + std::to_string(i)).c_str());
  EXPECT_EQ(list_length(list_), 5000);
  EXPECT_EQ(TotalList(list_), left * 2 + 1667);
}

TEST_F(ItemTable, LowestItemsComeByCountThenTextInBoundedBatches) {
  for (int i = 0; i < 6000; ++i) Add(("/p" + std::to_string(10000 + i)).c_str());
  for (const char* text : {"/z2", "/z2", "/a3", "/a3", "/a3", "/m2", "/m2"}) Add(text);
  std::vector<ListItem*> all(6010);
  // Everything fits: all nodes, lowest count first, then text order.
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
  // A cut in a higher count.
  for (int i = 0; i < 6000; ++i) ListRemoveItem(list_, all[i]);
  ASSERT_EQ(ListLowestItems(list_, nullptr, out.data(), 1), 1);
  EXPECT_STREQ(out[0]->item, "/m2");
  EXPECT_EQ(TotalList(list_), 7);
}

TEST(ListHash, MatchesPublishedLookup2Values) {
  EXPECT_EQ(hash("", 0, 0), 0xbd49d10du);
  EXPECT_EQ(hash("192.168.1.1", 11, 0), 0x8a0abdf1u);
  EXPECT_EQ(hash("abcdefghijklmnopqrstuvwxyz", 26, 0), 0xc52fcee8u);
  EXPECT_NE(hash("192.168.1.1", 11, 1), hash("192.168.1.1", 11, 0));
}

TEST(ListHash, ReadsHighBytesAsUnsignedAndUsesTheInitialValue) {
  // One full 12-byte block and a 9-byte tail, every byte above 127: a
  // sign-extended byte or a wrong tail shift changes the value.
  const char key[] =
      "\xff\xfe\x80\x81\x90\xa0\xb0\xc0\xd0\xe0\xf0\xff"
      "\xfe\xfd\xfc\xfb\xfa\xf9\xf8\xf7\xf6";
  EXPECT_EQ(hash(key, 21, 0x12345678u), 0x50d80604u);
}

}  // namespace

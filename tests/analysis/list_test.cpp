#include "analysis/list.h"

#include <gtest/gtest.h>

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
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
  }
  void Add(const char* text, int ignoreCase = 0) { add_item(&list_, info_, text, nullptr, nullptr, ignoreCase); }
  ItemList* list_ = nullptr;
  ListInfo* info_ = nullptr;
};

TEST_F(ItemTable, CountingFoldsCaseOnlyForIgnoreCaseListsAndCutsLongTexts) {
  Add(nullptr);
  Add("");
  EXPECT_EQ(list_, nullptr);
  // The first count fixes the comparison and the kept spelling; '[' and
  // bytes above 127 are not letters.
  for (const char* text : {"/Index.html", "/index.html", "/INDEX.HTML", "[", "\xC4", "\xE4", "Zz", "zZ"}) Add(text, 1);
  Add("/index.HTML", 0);
  const std::string base(243, 'x');
  Add((base + "first").c_str(), 1);
  Add(base.c_str(), 1);
  EXPECT_EQ(TextOrder(list_, 1),
            (std::vector<Row>{{"/Index.html", 4}, {"[", 1}, {base, 2}, {"Zz", 2}, {"\xC4", 1}, {"\xE4", 1}}));
  EXPECT_EQ(TotalList(list_), 11);
  ItemList* exact = nullptr;
  for (const char* text : {"/index.html", "/Index.html", "/index.html"}) add_item(&exact, info_, text, nullptr, nullptr, 0);
  EXPECT_EQ(TextOrder(exact), (std::vector<Row>{{"/Index.html", 1}, {"/index.html", 2}}));
  destroy(exact);
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
  const struct {
    const char* text;
    const char* after;  // "" for the head
    std::string order;
  } moves[] = {{"d", "b", "dcba"}, {"a", "", "adcb"}, {"c", "a", "acdb"}, {"d", "b", "acbd"}};  // the head's own text: unchanged
  for (const auto& m : moves) {
    head = MoveItem(head, m.text, m.after);
    std::string order;
    for (const auto& row : Chain(head)) order += row.first;
    EXPECT_EQ(order, m.order) << m.text << " after " << m.after;
  }
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
  // The last key has one full 12-byte block and a 9-byte tail, every byte
  // above 127: a sign-extended byte or a wrong tail shift changes the value.
  const char high[] = "\xff\xfe\x80\x81\x90\xa0\xb0\xc0\xd0\xe0\xf0\xff\xfe\xfd\xfc\xfb\xfa\xf9\xf8\xf7\xf6";
  const std::tuple<const char*, uint32_t, uint32_t> cases[] = {
      {"", 0, 0xbd49d10du}, {"192.168.1.1", 0, 0x8a0abdf1u}, {"abcdefghijklmnopqrstuvwxyz", 0, 0xc52fcee8u}, {high, 0x12345678u, 0x50d80604u}};
  for (const auto& [key, seed, value] : cases) EXPECT_EQ(hash(key, strlen(key), seed), value) << key;
}

}  // namespace

#include "analysis/list.h"

#include <gtest/gtest.h>

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "analysis/smart_memory.h"
#include "analysis/text_ids.h"
#include "base/globals.h"

namespace {

using Row = std::pair<std::string, int>;

std::vector<Row> Chain(const ListItem* head) {
  std::vector<Row> rows;
  for (; head; head = head->next) rows.emplace_back(head->item, head->count);
  return rows;
}

class ItemTable : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    list_ = reinterpret_cast<ItemList*>(this);  // a head left from an earlier pass
    init_list(&list_, &info_, "Top URLs");
    ASSERT_EQ(list_, nullptr);
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

// Random lists of many sizes and tied counts, sorted with and without the sort array (as when memory
// is refused), against the standard library: count descending, then text descending.
TEST_F(ItemTable, SortAgreesWithStandardSortWithAndWithoutSortMemory) {
  std::mt19937 random(7);
  for (int round = 0; round < 24; ++round) {
    const int ignoreCase = round % 2;
    ListRefuseSortMemoryForTesting(round % 4 >= 2);
    ItemList* list = nullptr;
    const int size = std::vector<int>{0, 1, 2, 3, 5, 17, 300, 2100}[round / 3];
    for (int i = 0; i < size; ++i) {
      std::string text;
      // Prefixes of 8 bytes and more, and now and then a text that shares
      // only its first byte with the others.
      if (round % 3 == 2) text = random() % 9 == 0 ? "/a" : random() % 2 ? "/archive/section/" : "/archive/s";
      for (int n = 1 + random() % 12; n > 0; --n) text += "aAbB_[z"[random() % 7];
      for (int c = random() % 4; c >= 0; --c) add_item(&list, info_, text.c_str(), nullptr, nullptr, ignoreCase);
    }
    std::vector<ListItem*> nodes(list_length(list));
    nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
    std::vector<Row> expected;
    for (ListItem* node : nodes) expected.emplace_back(node->item, node->count);
    std::sort(expected.begin(), expected.end(), [ignoreCase](const Row& a, const Row& b) {
      const int byText = ignoreCase ? strcasecmp(a.first.c_str(), b.first.c_str()) : strcmp(a.first.c_str(), b.first.c_str());
      return a.second != b.second ? a.second > b.second : byText > 0;
    });
    ASSERT_EQ(Chain(SortList(list)), expected) << "round " << round;
    destroy(list);
  }
}

TEST_F(ItemTable, MoveItemRelinksByText) {
  for (const char* text : {"a", "b", "c", "d"}) Add(text);
  ListItem* head = SortList(list_);  // d c b a; moving the head's own text changes nothing
  for (const auto& [text, after, order] : {std::tuple{"d", "b", "dcba"}, {"a", "", "adcb"}, {"c", "a", "acdb"}, {"d", "b", "acbd"}}) {
    head = MoveItem(head, text, after);  // after "": to the head
    std::string got;
    for (const auto& row : Chain(head)) got += row.first;
    EXPECT_EQ(got, order) << text << " after " << after;
  }
}

// A cut among the count-1 texts is one bounded batch in text order,
// without the protected node; higher counts come after.  Removed nodes
// leave the list's total; no text or an empty one is not counted.
TEST_F(ItemTable, LowestItemsComeByCountThenTextInBoundedBatches) {
  for (int i = 0; i < 6000; ++i) Add(("/pages/" + std::to_string(10000 + i)).c_str());  // past the 8-byte prefix
  for (const char* text : {"/z2", "/z2", "/a3", "/a3", "/a3", "/m2", "/m2"}) Add(text);
  std::vector<ListItem*> all(6010), out(5000);
  ASSERT_EQ(ListLowestItems(list_, nullptr, all.data(), 6010), 6003);
  ASSERT_EQ(ListLowestItems(list_, all[0], out.data(), 5000), 4096);
  const std::pair<ListItem*, const char*> cases[] = {{all[0], "/pages/10000"}, {all[5999], "/pages/15999"}, {all[6000], "/m2"},
      {all[6001], "/z2"}, {all[6002], "/a3"}, {out[0], "/pages/10001"}, {out[4095], "/pages/14096"}};
  for (const auto& [node, text] : cases) EXPECT_STREQ(node->item, text);
  for (int i = 0; i < 6000; ++i) ListRemoveItem(list_, all[i]);
  Add(nullptr);
  Add("");
  EXPECT_EQ(TotalList(list_), 7);
  ASSERT_EQ(ListLowestItems(list_, nullptr, out.data(), 1), 1);
  EXPECT_STREQ(out[0]->item, "/m2");
}

// Two texts of one length whose table hashes collide (found by a birthday search) stay two items.
TEST_F(ItemTable, TextsSharingAHashStayApart) {
  std::unordered_map<uint32_t, std::string> seen;
  std::string a, b;
  for (uint32_t i = 0; b.empty(); ++i) {
    const std::string text = "/p" + std::to_string(1000000 + i);
    const auto [at, fresh] = seen.emplace(MakeItemKey(nullptr, text.data(), text.size(), 0).hash, text);
    if (!fresh) a = at->second, b = text;
  }
  for (const std::string& text : {a, b, a}) Add(text.c_str());
  EXPECT_EQ(Chain(SortList(list_)), (std::vector<Row>{{a, 2}, {b, 1}}));
}

TEST(ListHash, MatchesPublishedLookup2ValuesAndReadsHighBytesUnsigned) {
  // The last key has one full 12-byte block and a 9-byte tail, every byte
  // above 127: a sign-extended byte or a wrong tail shift changes the value.
  const char high[] = "\xff\xfe\x80\x81\x90\xa0\xb0\xc0\xd0\xe0\xf0\xff\xfe\xfd\xfc\xfb\xfa\xf9\xf8\xf7\xf6";
  const std::tuple<const char*, uint32_t, uint32_t> cases[] = {
      {"", 0, 0xbd49d10du}, {"192.168.1.1", 0, 0x8a0abdf1u}, {"abcdefghijklmnopqrstuvwxyz", 0, 0xc52fcee8u}, {high, 0x12345678u, 0x50d80604u}};
  for (const auto& [key, seed, value] : cases) EXPECT_EQ(hash(key, strlen(key), seed), value) << key;
}

// Every bit of a text counts in the table hashes: a hash that skipped a byte would pile texts that differ
// there into one probe run.  Digits, so that folding case changes nothing.
TEST(ListHash, OneFlippedBitGivesAnotherTableHash) {
  std::mt19937 random(3);
  for (size_t len = 1; len <= 40; ++len) {
    std::string text(len, '0'), other;
    for (char& c : text) c = static_cast<char>('0' + random() % 10);
    for (size_t i = 0; i < len * 8; ++i) {
      other = text, other[i / 8] = static_cast<char>(other[i / 8] ^ (1 << i % 8));
      for (bool fold : {false, true})
        EXPECT_NE(TextHash(text.data(), len, fold), TextHash(other.data(), len, fold)) << len << ":" << i;
    }
  }
}

}  // namespace

// Texts keep their numbers while the table grows, short texts (kept in the
// slot) and long ones (kept beside it) alike, with and without case folding.
#include "analysis/text_ids.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

namespace {

uint32_t HashFor(const std::string& text, bool fold) {
  std::string key = text;
  if (fold)
    for (char& c : key) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return TextHash(key.data(), key.size());
}

TEST(TextIds, EveryTextKeepsItsNumberAsTheTableGrows) {
  for (bool fold : {false, true}) {
    TextIds ids;
    auto text = [](int i) { return (i % 2 ? std::string(60, 'x') : "/t") + std::to_string(i) + "a"; };
    auto find = [&](const std::string& t, bool* added) {
      return ids.Find(t.data(), static_cast<uint32_t>(t.size()), HashFor(t, fold), fold, added);
    };
    bool added = false;
    for (int i = 0; i < 3000; ++i) {
      EXPECT_EQ(find(text(i), &added), static_cast<uint32_t>(i));
      EXPECT_TRUE(added);
    }
    for (int i = 0; i < 3000; ++i) {
      std::string again = text(i);
      again.back() = 'A';  // the same text when case is folded, a new one otherwise
      uint32_t id = find(again, &added);
      EXPECT_EQ(added, !fold) << again;
      if (fold) {
        EXPECT_EQ(id, static_cast<uint32_t>(i)) << again;
      }
      EXPECT_EQ(std::string(ids.Text(i)), text(i));
    }
    std::string never = "/never";
    EXPECT_EQ(ids.Lookup(never.data(), 6, HashFor(never, fold), fold), -1);
  }
}

// A text's payload moves with it as the table grows: set when the text is
// added, found again by the text and by the number.
TEST(TextIds, EveryPayloadStaysWithItsText) {
  struct Payload {
    double value;
    uint32_t id;
  };
  TextTable<Payload> table;
  auto text = [](int i) { return (i % 2 ? std::string(50, 'y') : "/u") + std::to_string(i); };
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 3000; ++i) {
      const std::string t = text(i);
      bool added = false;
      Payload* payload = nullptr;
      const uint32_t id = table.Find(t.data(), static_cast<uint32_t>(t.size()), HashFor(t, false), false, &added, &payload);
      ASSERT_EQ(added, round == 0);
      if (added) {
        EXPECT_EQ(payload->value, 0.0);
        *payload = {i * 0.5, id};
      }
      EXPECT_EQ(payload->id, static_cast<uint32_t>(i));
    }
  }
  for (uint32_t id = 0; id < 3000; ++id) EXPECT_EQ(table.PayloadOf(id).value, id * 0.5) << id;
}

}  // namespace

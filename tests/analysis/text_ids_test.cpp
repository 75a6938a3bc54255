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

}  // namespace

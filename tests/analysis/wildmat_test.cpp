#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "analysis/wildmat.h"
#include "analysis/wildmat_reference.h"

namespace {

bool Matches(const char* pattern, const char* text) { return super_wildmat(pattern, text) == 0; }

TEST(Wildmat, PatternTable) {
  const struct {
    const char* pattern;
    std::vector<const char*> yes, no;
  } rows[] = {
      {"/docs/*", {"/docs/", "/docs/a/b.html"}, {"/doc", "/docs"}},
      {"*.htm?", {"/a.html", "/a.htmx"}, {"/a.htm", "/a.htmlx"}},
      {"/[a-c]*", {"/b1", "/a", "/c"}, {"/d1", "/"}},
      {"/[^a-c]*", {"/d1"}, {"/b1", "/"}},
      {"/[]x]", {"/]", "/x"}, {"/y", "/"}},
      {"/[-x]", {"/-", "/x"}, {"/y"}},
      {"/[a-]", {"/a", "/-"}, {"/b"}},
      {"/(news|sports)/*", {"/news/1", "/sports/2"}, {"/weather/3", "/news"}},
      {"(a|ab)c", {"abc", "ac"}, {"bc", "abcc"}},
      {"/(a|b(c|d))/x", {"/bd/x", "/a/x"}, {"/b/x"}},
      {"x(|y)z", {"xz", "xyz"}, {"xyyz"}},
      {"((a|b))c", {"bc"}, {"c"}},
      {"(a*|b)", {"axyz", "b"}, {"bx"}},
      {"*(.gif|.jpg)", {"/img/x.jpg"}, {"/img/x.jpgs"}},
      {"(abc", {"abc"}, {"ab"}},  // an open group still runs its alternatives to the end
      {"(ab|c", {"c", "ab"}, {"abc"}},
      {"\\*", {"*"}, {"a", "", "**"}},
      {"a\\", {}, {"a", "a\\"}},  // a trailing backslash matches nothing
      {"a|b", {}, {"a", "b", "a|b"}},
      {"a)", {}, {"a", "a)"}},
      {"", {""}, {"a"}},
      {"*", {"", "anything"}, {}},
      {"a?", {"ab"}, {"a", "abc"}},
      {"**a", {"a", "ba"}, {"ab"}},
      // Classes compare signed bytes: 0x01-0xff is an empty range.
      {"[\xa0-\xbf]", {"\xb0"}, {"a"}},
      {"[\x01-\xff]", {}, {"a"}},
      {"[a-z]", {"q"}, {"\xe9"}},
      {"/[ab", {"/a"}, {"/ab"}},  // an unterminated class ends the pattern
      {"[", {}, {"a"}},
  };
  for (const auto& row : rows) {
    for (const char* text : row.yes) EXPECT_TRUE(Matches(row.pattern, text)) << row.pattern << " / " << text;
    for (const char* text : row.no) EXPECT_FALSE(Matches(row.pattern, text)) << row.pattern << " / " << text;
  }
}

TEST(Wildmat, AbortNoMatchAndCaseInsensitiveVariant) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"abc", "abc", 1}, {"abd", "abc", 0}, {"ab", "abc", -1},  // the text ran out
      {"a", ")", -1},    // ")" outside any group
      {"abc", "*x", -1},  // no position can help
      {"abc", "(ab|c", -1}, {"x", "(ab|c", -1},  // only running out of alternatives aborts
  };
  for (const auto& [text, pattern, result] : cases) EXPECT_EQ(DoMatch(text, pattern), result) << pattern << " / " << text;
  EXPECT_EQ(super_wildmati("/Docs/*", "/DOCS/x"), 0);
  EXPECT_EQ(super_wildmat("/Docs/*", "/DOCS/x"), 1);
  EXPECT_EQ(super_wildmati("/[A-C]*", "/b"), 0);
  EXPECT_EQ(super_wildmati("*", ""), 0);
  EXPECT_EQ(super_wildmati("", "x"), 1);
  // Longer inputs grow the reused buffers; later short ones still work.
  EXPECT_EQ(super_wildmati("a*", std::string(5000, 'A').c_str()), 0);
  EXPECT_EQ(super_wildmati("b", "B"), 0);
}

TEST(Wildmat, HostilePatternsFinishQuickly) {
  const auto start = std::chrono::steady_clock::now();
  std::string alternatives, text, stars;
  for (int i = 0; i < 48; ++i) alternatives += "(a|a)", text += 'a';
  for (int i = 0; i < 40; ++i) stars += "(*|*)";
  EXPECT_FALSE(Matches((alternatives + "b").c_str(), text.c_str()));
  EXPECT_TRUE(Matches(alternatives.c_str(), text.c_str()));
  EXPECT_FALSE(Matches((stars + "y").c_str(), std::string(243, 'x').c_str()));
  EXPECT_TRUE(Matches((stars + "y").c_str(), (std::string(243, 'x') + "y").c_str()));
  // Deep nesting and inputs too large for the memo table are cut off by the
  // safety limits, or matched without the table.
  EXPECT_FALSE(Matches((std::string(100000, '(') + "a").c_str(), "a"));
  const std::string huge(1 << 20, 'a');
  EXPECT_FALSE(Matches("*a*a*a*a*a*b", huge.c_str()));
  EXPECT_TRUE(Matches("*a*a*a*a*a", huge.c_str()));
  EXPECT_TRUE(Matches((std::string(600, '?') + "*a*b").c_str(), (std::string(1200, 'a') + "ab").c_str()));
  EXPECT_LT(std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count(), 10);
}

// Short random inputs against the plain backtracking reference; the longer
// ones reach the remembered answers of the memo table again and again.
TEST(Wildmat, AgreesWithTheReferenceOnRandomInputs) {
  std::mt19937 rng(20240611);
  const char patternChars[] = "ab*?()|[]^-\\";
  const char textChars[] = "ab-]|(";
  for (int i = 0; i < 150000; ++i) {
    std::string pattern, text;
    const int pl = static_cast<int>(rng() % (i % 4 ? 13 : 17)), tl = static_cast<int>(rng() % (i % 4 ? 8 : 17));
    for (int k = 0; k < pl; ++k) pattern += patternChars[rng() % (sizeof patternChars - 1)];
    for (int k = 0; k < tl; ++k) text += textChars[rng() % (sizeof textChars - 1)];
    const std::string input = pattern + "\n" + text;
    ASSERT_EQ(wildmat_reference::CheckWildmatInput(input.data(), input.size()), "")
        << "pattern '" << pattern << "' text '" << text << "'";
  }
}

}  // namespace

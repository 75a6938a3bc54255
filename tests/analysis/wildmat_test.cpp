#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "analysis/wildmat.h"
#include "analysis/wildmat_reference.h"
#include "support/test_support.h"

namespace {

bool Matches(const char* pattern, const char* text) { return super_wildmat(pattern, text) == 0; }

struct Row {
  const char* pattern;
  std::vector<const char*> yes;
  std::vector<const char*> no;
};

TEST(Wildmat, PatternTable) {
  const Row rows[] = {
      {"/docs/*", {"/docs/", "/docs/a/b.html"}, {"/doc", "/docs"}},
      {"*.htm?", {"/a.html", "/a.htmx"}, {"/a.htm", "/a.htmlx"}},
      {"/[a-c]*", {"/b1", "/a", "/c"}, {"/d1", "/"}},
      {"/[^a-c]*", {"/d1"}, {"/b1", "/"}},
      {"/[]x]", {"/]", "/x"}, {"/y", "/"}},
      {"/[-x]", {"/-", "/x"}, {"/y"}},
      {"/[a-]", {"/a", "/-"}, {"/b"}},
      {"/(news|sports)/*", {"/news/1", "/sports/2"}, {"/weather/3", "/news"}},
      {"(a|ab)c", {"abc", "ac"}, {"bc", "abcc"}},
      {"\\*", {"*"}, {"a", "", "**"}},
      {"a\\", {}, {"a", "a\\"}},  // a trailing backslash matches nothing
      {"a|b", {}, {"a", "b", "a|b"}},
      {"a)", {}, {"a", "a)"}},
      {"", {""}, {"a"}},
      {"a?", {"ab"}, {"a", "abc"}},
      {"**a", {"a", "ba"}, {"ab"}},
  };
  for (const Row& row : rows) {
    for (const char* text : row.yes) EXPECT_TRUE(Matches(row.pattern, text)) << row.pattern << " / " << text;
    for (const char* text : row.no) EXPECT_FALSE(Matches(row.pattern, text)) << row.pattern << " / " << text;
  }
}

TEST(Wildmat, AlternativesNestEmptyAndCarryTheRestOfThePattern) {
  EXPECT_TRUE(Matches("/(a|b(c|d))/x", "/bd/x"));
  EXPECT_TRUE(Matches("/(a|b(c|d))/x", "/a/x"));
  EXPECT_FALSE(Matches("/(a|b(c|d))/x", "/b/x"));
  EXPECT_TRUE(Matches("x(|y)z", "xz"));
  EXPECT_TRUE(Matches("x(|y)z", "xyz"));
  EXPECT_TRUE(Matches("((a|b))c", "bc"));
  EXPECT_TRUE(Matches("(a*|b)", "axyz"));
  EXPECT_TRUE(Matches("*(.gif|.jpg)", "/img/x.jpg"));
  EXPECT_FALSE(Matches("*(.gif|.jpg)", "/img/x.jpgs"));
  // A group that never closes still tries its alternatives, each running to
  // the end of the pattern; only running out of alternatives gives -1.
  EXPECT_TRUE(Matches("(abc", "abc"));
  EXPECT_TRUE(Matches("(ab|c", "c"));
  EXPECT_EQ(DoMatch("abc", "(ab|c"), -1);
  EXPECT_EQ(DoMatch("x", "(ab|c"), -1);
}

TEST(Wildmat, AbortAndNoMatchAreDistinct) {
  EXPECT_EQ(DoMatch("abc", "abc"), 1);
  EXPECT_EQ(DoMatch("abd", "abc"), 0);
  EXPECT_EQ(DoMatch("ab", "abc"), -1);   // the text ran out
  EXPECT_EQ(DoMatch("a", ")"), -1);      // ")" outside any group
  EXPECT_EQ(DoMatch("abc", "*x"), -1);   // no position can help
}

TEST(Wildmat, ClassesCompareSignedBytes) {
  // 0xa0-0xbf are negative as signed bytes; so are all bytes above 0x7f, so
  // a range from 0x01 to 0xff is empty and matches nothing.
  EXPECT_TRUE(Matches("[\xa0-\xbf]", "\xb0"));
  EXPECT_FALSE(Matches("[\xa0-\xbf]", "a"));
  EXPECT_FALSE(Matches("[\x01-\xff]", "a"));
  EXPECT_FALSE(Matches("[a-z]", "\xe9"));
  // An unterminated class ends the pattern.
  EXPECT_TRUE(Matches("/[ab", "/a"));
  EXPECT_FALSE(Matches("/[ab", "/ab"));
  EXPECT_FALSE(Matches("[", "a"));
}

TEST(Wildmat, StarAloneMatchesEverythingEvenEmpty) {
  EXPECT_EQ(super_wildmat("*", ""), 0);
  EXPECT_EQ(super_wildmati("*", ""), 0);
  EXPECT_EQ(super_wildmat("*", "anything"), 0);
}

TEST(Wildmat, CaseInsensitiveVariant) {
  EXPECT_EQ(super_wildmati("/Docs/*", "/DOCS/x"), 0);
  EXPECT_EQ(super_wildmat("/Docs/*", "/DOCS/x"), 1);
  EXPECT_EQ(super_wildmati("/[A-C]*", "/b"), 0);
  EXPECT_EQ(super_wildmati("", ""), 0);
  EXPECT_EQ(super_wildmati("", "x"), 1);
  // Longer inputs grow the reused buffers; later short ones still work.
  std::string longText(5000, 'A');
  EXPECT_EQ(super_wildmati("a*", longText.c_str()), 0);
  EXPECT_EQ(super_wildmati("b", "B"), 0);
}

TEST(Wildmat, HostilePatternsFinishQuickly) {
  using Clock = std::chrono::steady_clock;
  auto start = Clock::now();
  std::string alternatives, text;
  for (int i = 0; i < 48; ++i) {
    alternatives += "(a|a)";
    text += 'a';
  }
  EXPECT_FALSE(Matches((alternatives + "b").c_str(), text.c_str()));
  EXPECT_TRUE(Matches((alternatives).c_str(), text.c_str()));

  std::string stars;
  for (int i = 0; i < 40; ++i) stars += "(*|*)";
  std::string url(243, 'x');
  EXPECT_FALSE(Matches((stars + "y").c_str(), url.c_str()));

  // Deep nesting and huge inputs are cut off by the safety limits.
  std::string deep(100000, '(');
  EXPECT_FALSE(Matches((deep + "a").c_str(), "a"));
  std::string huge(1 << 20, 'a');
  EXPECT_FALSE(Matches("*a*a*a*a*a*b", huge.c_str()));
  EXPECT_TRUE(Matches("*a*a*a*a*a", huge.c_str()));
  EXPECT_LT(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count(), 10);
}

TEST(Wildmat, AgreesWithTheReferenceOnRandomInputs) {
  std::mt19937 rng(20240611);
  const char patternChars[] = "ab*?()|[]^-\\";
  const char textChars[] = "ab-]|(";
  for (int i = 0; i < 200000; ++i) {
    std::string pattern, text;
    int pl = static_cast<int>(rng() % 13), tl = static_cast<int>(rng() % 8);
    for (int k = 0; k < pl; ++k) pattern += patternChars[rng() % (sizeof patternChars - 1)];
    for (int k = 0; k < tl; ++k) text += textChars[rng() % (sizeof textChars - 1)];
    std::string input = pattern + "\n" + text;
    ASSERT_EQ(wildmat_reference::CheckWildmatInput(input.data(), input.size()), "")
        << "pattern '" << pattern << "' text '" << text << "'";
  }
}

TEST(Wildmat, ReplaysKeptFuzzFinds) {
  namespace fs = std::filesystem;
  // Found beside this source file, whatever the working folder.
  fs::path dir = fs::path(__FILE__).parent_path().parent_path() / "corpus" / "wildmat";
  ASSERT_TRUE(fs::is_directory(dir)) << dir;
  int replayed = 0;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (!entry.is_regular_file()) continue;
    std::string data = testing_support::ReadFile(entry.path().string());
    EXPECT_EQ(wildmat_reference::CheckWildmatInput(data.data(), data.size()), "") << entry.path();
    ++replayed;
  }
  EXPECT_GT(replayed, 0);
}

}  // namespace

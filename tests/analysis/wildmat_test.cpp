#include "analysis/wildmat.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>

#include "analysis/wildmat_reference.h"

namespace {

// Short random inputs against the plain backtracking reference (which also checks the case-folding
// variant); the longer ones reach the remembered answers of the memo table again and again.
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

// What random short inputs do not reach: bytes above 127 (classes compare
// signed bytes), and inputs that only the safety limits or a match without
// the memo table finish in time.
TEST(Wildmat, HighBytesAndHostilePatterns) {
  const std::string huge(1 << 20, 'a');
  std::string alternatives;  // 2^48 ways without the memo table
  for (int i = 0; i < 48; ++i) alternatives += "(a|a)";
  const std::tuple<std::string, std::string, int> cases[] = {  // pattern, text, super_wildmat's answer (0: a match)
      {"[\xa0-\xbf]", "\xb0", 0}, {"[\x01-\xff]", "a", 1}, {"[a-z]", "\xe9", 1}, {std::string(100000, '(') + "a", "a", 1},
      {alternatives + "b", std::string(48, 'a'), 1}, {alternatives, std::string(48, 'a'), 0},
      {"*a*a*a*a*a*b", huge, 1}, {"*a*a*a*a*a", huge, 0}, {std::string(600, '?') + "*a*b", std::string(1200, 'a') + "ab", 0}};
  for (const auto& [pattern, text, answer] : cases) EXPECT_EQ(super_wildmat(pattern.c_str(), text.c_str()), answer) << pattern.substr(0, 40);
  EXPECT_EQ(super_wildmati("a*", std::string(5000, 'A').c_str()), 0);  // grows the folding buffers
}

}  // namespace

// A browser text is classified the same way before and after the rules it
// meets have been compiled to machine code (after 16 texts).
#include "analysis/agents.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Agents, RulesAnswerTheSameOnceCompiledToMachineCode) {
  const char* agents[] = {
      "Mozilla/5.0 (X11; Linux x86_64; rv:123.0) Gecko/20100101 Firefox/123.0",
      "Mozilla/5.0 (iPhone; CPU iPhone OS 17_3 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like "
      "Gecko) Version/17.3 Mobile/15E148 Safari/604.1",
      "Googlebot/2.1 (+http://www.google.com/bot.html)",
      "",
      "GeoEvent Server 10.8.1 HbbTV/1.1.1 ( ;LGE ;NetCast 4.0",  // first browser and system rules
  };
  auto classify = [&] {
    std::vector<std::string> answers;
    for (const char* agent : agents) {
      const AgentClass& c = ClassifyAgent(agent);
      answers.push_back(std::string(c.browser) + "|" + c.system + "|" + c.robot);
    }
    return answers;
  };
  AgentsReset();
  std::vector<std::string> interpreted = classify();
  for (int i = 0; i < 20; ++i) ClassifyAgent(("Unknown/" + std::to_string(i)).c_str());
  AgentsReset();
  EXPECT_EQ(classify(), interpreted);
  EXPECT_EQ(interpreted[0].rfind("Firefox 123|Linux|", 0), 0u) << interpreted[0];
  EXPECT_EQ(interpreted[2].substr(interpreted[2].rfind('|')), "|Googlebot");
  EXPECT_EQ(interpreted[4], "GeoEvent Server 10|LG 2013|");
}

// A rule is tried only on texts that hold its required text, so that text
// must be in every match: whatever is not plainly a fixed byte ends it.
TEST(Agents, RequiredTextIsInEveryMatch) {
  const std::pair<const char*, const char*> cases[] = {
      {"(Firefox)/(\\d+)", "Firefox/"},         {"Windows ?Mobile", "Windows"},
      {"ab+cd", "ab"},                          {"xa{0,2}bc", "bc"},
      {"ab{2}c", "ab"},                         {"(?:ab)?cd", "cd"},
      {"(?:abc)+d", "abc"},                     {"Gecko/18\\.0 Firefox", "Gecko/18.0 Firefox"},
      {"a(?:bb|cc)dd", "dd"},                   {"^.{0,9}(?=ab)cd[ef]g", "cd"},
      {"ab\\d+cd{x", "cd{x"},                   {"Tizen|Bada", ""},
      {"\\x41bcd", ""},                         {"(?i)abc", ""},
      {"[[:alpha:]]xyz", ""},                   {"(abc", ""},
      {"[]a]bc", "bc"},                         {"abc[de", ""},
  };
  for (const auto& [regex, required] : cases) EXPECT_EQ(RequiredText(regex), required) << regex;
}

}  // namespace

// A browser text is classified the same way before and after the rules it
// meets have been compiled to machine code (after 16 texts).
#include "analysis/agents.h"

#include <gtest/gtest.h>

#include <fstream>
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

// A rule is tried only on texts that hold what it requires, so that must be
// in every match: whatever is not plainly a fixed byte ends a run, and a
// choice counts only when every alternative requires a run.  Shown as
// "a|b & c": one of a and b, and c.
TEST(Agents, RequiredTextsAreInEveryMatch) {
  const auto shown = [](const std::string& regex) {
    std::string out;
    for (const RequiredAnyOf& anyOf : RequiredTexts(regex)) {
      if (!out.empty()) out += " & ";
      for (size_t i = 0; i < anyOf.size(); ++i) out += (i ? "|" : "") + anyOf[i];
    }
    return out;
  };
  const std::pair<const char*, const char*> cases[] = {
      {"(Firefox)/(\\d+)", "Firefox/"},         {"Windows ?Mobile", "Windows & Mobile"},
      {"ab+cd", "ab & cd"},                     {"xa{0,2}bc", "bc"},
      {"ab{2}c", "ab"},                         {"(?:ab)?cd", "cd"},
      {"(?:abc)+d", "abc"},                     {"Gecko/18\\.0 Firefox", "Gecko/18.0 Firefox"},
      {"a(?:bb|cc)dd", "dd & bb|cc"},           {"^.{0,9}(?=ab)cd[ef]g", "cd"},
      {"ab\\d+cd{x", "cd{x & ab"},              {"Tizen|Bada", "Tizen|Bada"},
      {"(x|yz)?ab", "ab"},                      {"a(?:b|.)cd", "cd"},
      {"(?!ab|cd)ef", "ef"},                    {"(?:(?:ab|cd)e)+", "e & ab|cd"},
      {"\\x41bcd", ""},                         {"(?i)abc", ""},
      {"[[:alpha:]]xyz", ""},                   {"(abc", ""},
      {"[]a]bc", "bc"},                         {"abc[de", ""},
  };
  for (const auto& [regex, required] : cases) EXPECT_EQ(shown(regex), required) << regex;
}

// The rules' own test cases (uap-core ships them): every browser text that
// a log can hold gets the family and major version of browser and system
// that the rules' authors wrote down.
TEST(Agents, FamiliesAgreeWithTheRulesOwnTestCases) {
  auto value = [](const std::string& line) {  // a YAML scalar: quoted ('' or \") or plain
    std::string v = line.substr(line.find(':') + 1);
    v.erase(0, v.find_first_not_of(' '));
    if (v.empty() || (v[0] != '\'' && v[0] != '"')) return v;
    std::string out;
    for (size_t i = 1; i + 1 < v.size(); ++i) out += (v[i] == v[0] || (v[0] == '"' && v[i] == '\\')) ? v[++i] : v[i];
    return out;
  };
  for (const auto& [file, system] : {std::pair{"test_ua.yaml", false}, {"test_os.yaml", true}}) {
    std::ifstream in(std::string("/usr/share/uap-core/tests/") + file);
    ASSERT_TRUE(in) << "uap-core's tests are installed with the rules";
    std::string agent, family;
    int cases = 0, wrong = 0;
    for (std::string line; std::getline(in, line);) {
      if (line.find("user_agent_string:") != std::string::npos) agent = value(line);
      if (line.find(" family:") != std::string::npos) family = value(line);
      if (line.find(" major:") == std::string::npos || agent.size() > 243) continue;  // the log reader cuts longer texts
      const std::string major = value(line), expected = major.empty() ? family : family + " " + major;
      const AgentClass& c = ClassifyAgent(agent.c_str());
      ++cases;
      if ((system ? c.system : c.browser) != expected.substr(0, 63) && ++wrong < 10)
        ADD_FAILURE() << agent << "\n  " << (system ? c.system : c.browser) << " / " << expected;
    }
    EXPECT_GT(cases, 400);
    EXPECT_EQ(wrong, 0) << file << " " << cases;
  }
  // Robots are the texts whose device the rules call a spider.
  std::ifstream in("/usr/share/uap-core/tests/test_device.yaml");
  std::string agent;
  int robots = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.find("user_agent_string:") != std::string::npos) agent = value(line);
    if (line.find(" family:") == std::string::npos || agent.size() > 243) continue;
    const bool spider = value(line) == "Spider";
    robots += spider;
    EXPECT_EQ(ClassifyAgent(agent.c_str()).robot[0] != 0, spider) << agent;
  }
  EXPECT_GT(robots, 50);
}

}  // namespace

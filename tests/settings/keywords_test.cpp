#include "settings/keywords.h"

#include <string>

#include "support/fixtures.h"

namespace {

using KeywordsTest = SettingsTest;

// One run of words in order; after each, the named setting reads so.
// Sources: f = form, i = configuration file, o = a source of another name.
TEST_F(KeywordsTest, EachWordSetsItsFieldUnderItsSourcesRules) {
  const auto field = [this](const std::string& n) -> std::string {
    const StatsFields& s = settings;
    const SectionSetting& r = s.requests;
    if (n == "requests") {
      return std::to_string(r.show) + "," + std::to_string(r.top) + "," + std::to_string(r.greater) + "," + std::to_string(r.topIsPercent);
    }
    if (n == "debug") return std::to_string(s.debug) + "," + std::to_string(s.debugSources);
    if (n == "numbers") {
      return std::to_string(s.dnsLookupEnabled) + "," + std::to_string(s.smartMemoryDisabled) + "," + std::to_string(s.smartMemoryEnabled);
    }
    for (const auto& [name, text] : {std::pair{"logs", &s.logs.s[0]}, {"config", s.configFile.s}, {"password", s.password.s},
                                     {"stored", s.accountPassword.s}, {"title", s.title.s}, {"realm", s.authRealm.s},
                                     {"base", s.base.s}}) {
      if (n == name) return text;
    }
    return "?";
  };
  const std::tuple<char, std::string, std::string, std::string> steps[] = {
      {'f', "REQUESTS=1,25,3", "requests", "1,25,3,0"},
      {'f', "requests=1", "requests", "1,0,3,0"},  // show alone resets top, keeps greater
      {'f', "requests_top=%", "requests", "1,0,3,1"},
      {'f', "requests=,7%,", "requests", "0,7,0,1"},
      {'f', "requests=", "requests", "0,7,0,1"},  // an empty value touches only show
      {'f', "logs=/x/*.log", "logs", ""},  // logs only from the configuration file
      {'i', "logs=/x/*.log", "logs", "/x/*.log"},
      {'f', "config=../c.conf", "config", "loglantern.conf"},  // only a file of the working folder
      {'f', "config=c.conf", "config", "c.conf"},
      {'f', "password=typed", "password", "typed"},
      {'i', "password=stored", "stored", "stored"},
      {'o', "title=A=B", "title", "AB"},
      {'f', "authrealm=staff", "realm", "staff"},
      {'f', "authrealm=other", "realm", "staff"},  // the request only fills an empty realm
      {'i', "authrealm=*", "realm", "*"},
      {'f', "base=" + std::string(243, 'b'), "base", std::string(243, 'b')},  // at most a field's 243 characters
      {'f', "base=" + std::string(244, 'c'), "base", std::string(243, 'b')},  // too long: ignored, not cut
      {'f', "requests=," + std::string(241, '0') + "5", "requests", "0,5,0,1"},  // a field of 242 characters kept whole
      {'f', "debug=1", "debug", "1,4"},
      {'f', "dnslookupenabled=99999999999999", "numbers", "2147483647,0,1"},
      {'i', "smartmemorydisabled=1", "numbers", "2147483647,0,1"},
      {'f', "smartmemorydisabled=1", "numbers", "2147483647,1,0"},
  };
  for (const auto& [source, word, name, value] : steps) {
    CompareParam(word.c_str(), &settings, &env, source == 'f' ? "form" : source == 'i' ? "ini" : "other", source == 'i' ? 4 : 2);
    EXPECT_EQ(field(name), value) << source << ":" << word.substr(0, 40);
  }
  char one[1] = {'x'};
  ReturnValue(one, sizeof one, "5,6", 1);  // a one-byte field holds only the terminator
  EXPECT_EQ(one[0], 0);
}

}  // namespace

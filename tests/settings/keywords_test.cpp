#include "settings/keywords.h"

#include <string>

#include "support/fixtures.h"

namespace {

class KeywordsTest : public SettingsTest {
 protected:
  // A setting shown as text, by a short name.
  std::string Field(const std::string& n) {
    const StatsFields& s = settings;
    const auto section = [](const SectionSetting& x) {
      return std::to_string(x.show) + "," + std::to_string(x.top) + "," + std::to_string(x.greater) + "," + std::to_string(x.topIsPercent);
    };
    if (n == "requests") return section(s.requests);
    if (n == "logs") return s.logs.c_str() + std::string("|") + s.accessLog.c_str();
    if (n == "config") return s.configFile.c_str();
    if (n == "user") return s.username.c_str() + std::string("|") + s.password.c_str() + "|" + s.accountPassword.c_str();
    if (n == "title") return std::to_string(s.title.size()) + "|" + s.title.c_str() + "|" + s.url.c_str();
    if (n == "find") return s.formFind.c_str() + std::string("|") + s.accountFind.c_str() + "|" + s.find.c_str();
    if (n == "date") return s.dateStart.c_str() + std::string("|") + s.dateEnd.c_str() + "|" + s.startMonth.c_str() + "|" +
                            std::to_string(s.startYear);
    if (n == "auth") return s.authRealm.c_str() + std::string("|") + s.authUser.c_str();
    if (n == "debug") return std::to_string(s.debug) + "|" + std::to_string(s.debugSources);
    if (n == "base") return std::to_string(s.base.size()) + "|" + s.base.c_str();
    return std::to_string(s.findCaseSensitive) + "|" + std::to_string(s.dnsLookupEnabled) + "|" + std::to_string(s.dailyTotals) +
           "|" + std::to_string(s.smartMemoryDisabled) + "|" + std::to_string(s.smartMemoryEnabled);
  }
};

// One run of words in order; after each, the named setting reads so.
// Sources: f = form, i = configuration file, o = a source of another name,
// b = the form under another spelling and a rank out of range.
TEST_F(KeywordsTest, EachWordSetsItsFieldUnderItsSourcesRules) {
  const std::string b243(243, 'b');
  const struct {
    char source;
    std::string word, field, value;
  } steps[] = {
      {'f', "REQUESTS=1,25%,3", "requests", "1,25,3,1"},
      {'f', "requests=1", "requests", "1,0,3,1"},  // show alone resets top, keeps greater and the percent flag
      {'f', "requests_top=30", "requests", "1,30,3,1"},
      {'f', "requests=", "requests", "0,30,3,1"},  // an empty value touches only show
      {'f', "requests=," + std::string(240, '0') + "5%", "requests", "0,5,0,1"},  // a 242-character field whole
      {'f', "requests_greater=9", "requests", "0,5,9,1"},
      {'f', "logs=/x/*.log", "logs", "|"},
      {'i', "logs=/x/*.log", "logs", "/x/*.log|"},
      {'i', "accesslog=/x/access.log", "logs", "/x/*.log|/x/access.log"},
      {'o', "logs=/b", "logs", "/x/*.log|/x/access.log"},
      {'i', "config=other.conf", "config", "loglantern.conf"},
      {'f', "config=../other.conf", "config", "loglantern.conf"},
      {'f', "config=other.conf", "config", "other.conf"},
      {'i', "username=mallory", "user", "||"},
      {'f', "username=" + std::string(500, 'u'), "user", std::string(99, 'u') + "||"},
      {'f', "password=typed", "user", std::string(99, 'u') + "|typed|"},
      {'i', "password=stored", "user", std::string(99, 'u') + "|typed|stored"},
      {'o', "title=T", "title", "1|T|"},
      {'f', "title=A=B", "title", "2|AB|"},
      {'f', "title=" + std::string(5000, 't'), "title", "243|" + std::string(243, 't') + "|"},
      {'f', std::string(300, 'n') + "=x", "title", "243|" + std::string(243, 't') + "|"},
      {'f', "url=http://example.org//", "title", "243|" + std::string(243, 't') + "|http://example.org/"},
      {'f', "find=/docs/", "find", "/docs/||"},
      {'i', "find=/users/ann/", "find", "/docs/|/users/ann/|"},
      {'f', "date=123456789012345678901234567890,x", "date", "1234567890123456789|x||1900"},
      {'f', "sm=123", "date", "1234567890123456789|x|12|1900"},  // a month field holds two characters
      {'f', "sy=99", "date", "1234567890123456789|x|12|1999"},
      {'f', "sy=2039", "date", "1234567890123456789|x|12|1999"},  // out of range: the year stays
      {'f', "authrealm=staff", "auth", "staff|"},
      {'f', "authrealm=other", "auth", "staff|"},  // the request only fills empty fields
      {'i', "authrealm=*", "auth", "*|"},
      {'f', "debug=1", "debug", "1|4"},
      {'i', "debug=2", "debug", "2|20"},
      {'b', "debug=3", "debug", "3|20"},  // a wild rank shifts nothing
      {'f', "base=" + b243, "base", "243|" + b243},
      {'f', "base=", "base", "243|" + b243},
      {'f', "base=" + std::string(244, 'c'), "base", "243|" + b243},  // too long: ignored, not cut
      {'f', "find_casesensitive=257", "numbers", "1|0|0|0|1"},
      {'f', "dnslookupenabled=99999999999999", "numbers", "1|2147483647|0|0|1"},
      {'f', "dailytotals=1", "numbers", "1|2147483647|1|0|1"},
      {'f', "dailytotals", "numbers", "1|2147483647|0|0|1"},  // no "=": an empty value
      {'i', "smartmemorydisabled=1", "numbers", "1|2147483647|0|0|1"},
      {'f', "smartmemorydisabled=1", "numbers", "1|2147483647|0|1|0"},
  };
  for (const auto& s : steps) {
    if (s.source == 'f') Form(s.word);
    if (s.source == 'i') Ini(s.word);
    if (s.source == 'o') CompareParam(s.word.c_str(), &settings, &env, "other", 2);
    if (s.source == 'b') CompareParam(s.word.c_str(), &settings, &env, "FORM", 99);
    EXPECT_EQ(Field(s.field), s.value) << s.source << ":" << s.word.substr(0, 40);
  }
}

TEST(ReturnValue, FieldsCountedFromOneAndCutToTheOutput) {
  const struct {
    size_t size;
    const char* text;
    int n;
    const char* out;
  } cases[] = {{16, "1,,3", 2, ""}, {16, "1,,3", 3, "3"}, {16, "abc", 2, ""}, {16, "a,b", 0, ""}, {16, "a,", 2, ""},
               {4, "abcdefgh,x", 1, "abc"}, {1, "abc", 1, ""}};
  for (const auto& c : cases) {
    char out[16] = "xxxxxxxxxxxxxxx";
    ReturnValue(out, c.size, c.text, c.n);
    EXPECT_STREQ(out, c.out) << c.text << " " << c.n;
  }
}

}  // namespace

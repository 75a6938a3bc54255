#include "settings/keywords.h"

#include <string>

#include "support/fixtures.h"

namespace {

class KeywordsTest : public SettingsTest {
 protected:
  static std::string Section(const SectionSetting& s) {
    return std::to_string(s.show) + "," + std::to_string(s.top) + "," + std::to_string(s.greater) + "," +
           std::to_string(s.topIsPercent);
  }
  // A setting shown as text, by a short name.
  std::string Field(const std::string& n) {
    const StatsFields& s = settings;
    if (n == "requests") return Section(s.requests);
    if (n == "referrers") return Section(s.referrers);
    if (n == "logs") return s.logs.c_str() + std::string("|") + s.accessLog.c_str();
    if (n == "config") return s.configFile.c_str();
    if (n == "user") return s.username.c_str() + std::string("|") + std::to_string(s.username.size());
    if (n == "url") return s.url.c_str();
    if (n == "password") return s.password.c_str() + std::string("|") + s.accountPassword.c_str();
    if (n == "title") return std::to_string(s.title.size()) + "|" + s.title.c_str();
    if (n == "find") return s.formFind.c_str() + std::string("|") + s.accountFind.c_str() + "|" + s.find.c_str();
    if (n == "date") return s.dateStart.c_str() + std::string("|") + s.dateEnd.c_str();
    if (n == "start") return s.startMonth.c_str() + std::string("|") + s.startDay.c_str() + "|" + std::to_string(s.startYear);
    if (n == "end") return s.endMonth.c_str() + std::string("|") + std::to_string(s.endYear);
    if (n == "auth") return s.authRealm.c_str() + std::string("|") + s.authUser.c_str();
    if (n == "debug") return std::to_string(s.debug) + "|" + std::to_string(s.debugSources);
    if (n == "base") return std::to_string(s.base.size()) + "|" + s.base.c_str();
    if (n == "numbers")
      return std::to_string(s.priority) + "|" + std::to_string(s.flushToServer) + "|" + std::to_string(s.findCaseSensitive) +
             "|" + std::to_string(s.dnsLookupEnabled) + "|" + std::to_string(s.dailyTotals) + "|" +
             std::to_string(s.smartMemoryDisabled) + "|" + std::to_string(s.smartMemoryEnabled);
    return "?";
  }
};

// One run of words in order; after each, the named setting reads so.
// Sources: f = form, i = configuration file, o = a source of another name.
TEST_F(KeywordsTest, EachWordSetsItsFieldUnderItsSourcesRules) {
  const std::string b243(243, 'b');
  const struct {
    char source;
    std::string word, field, value;
  } steps[] = {
      {'f', "REQUESTS=1,25,3", "requests", "1,25,3,0"},
      {'f', "referrers=1,10%,3", "referrers", "1,10,3,1"},
      {'f', "referrers=1,20", "referrers", "1,20,0,1"},  // the percent flag is never cleared
      {'f', "requests_top=30", "requests", "1,30,3,0"},
      {'f', "requests=1", "requests", "1,0,3,0"},  // show alone resets top, keeps greater
      {'f', "requests_top=%", "requests", "1,0,3,1"},
      {'f', "requests_top=4", "requests", "1,4,3,1"},
      {'f', "requests=", "requests", "0,4,3,1"},  // an empty value touches only show
      {'f', "requests=," + std::string(240, '0') + "5%", "requests", "0,5,0,1"},  // a 242-character field whole
      {'f', "url=http://example.org//", "url", "http://example.org/"},  // one trailing slash goes
      {'f', "logs=/x/*.log", "logs", "|"},
      {'f', "AccessLog=/x/access.log", "logs", "|"},
      {'i', "logs=/x/*.log", "logs", "/x/*.log|"},
      {'i', "accesslog=/x/access.log", "logs", "/x/*.log|/x/access.log"},
      {'o', "logs=/b", "logs", "/x/*.log|/x/access.log"},
      {'i', "config=other.conf", "config", "loglantern.conf"},
      {'f', "config=other.conf", "config", "other.conf"},
      {'i', "username=mallory", "user", "|0"},
      {'f', "username=" + std::string(500, 'u'), "user", std::string(99, 'u') + "|99"},
      {'f', "password=typed", "password", "typed|"},
      {'i', "password=stored", "password", "typed|stored"},
      {'o', "title=T", "title", "1|T"},
      {'f', "title=A=B", "title", "2|AB"},
      {'f', "title=" + std::string(5000, 't'), "title", "243|" + std::string(243, 't')},
      {'f', "title" + std::string(300, ' ') + "=x", "title", "243|" + std::string(243, 't')},
      {'f', std::string(300, 'n') + "=x", "title", "243|" + std::string(243, 't')},
      {'f', "find=/docs/", "find", "/docs/||"},
      {'i', "find=/users/ann/", "find", "/docs/|/users/ann/|"},
      {'o', "find=/f", "find", "/docs/|/f|"},
      {'f', "date=01011999,01311999", "date", "01011999|01311999"},
      {'f', "date=02021998", "date", "02021998|"},
      {'f', "date=123456789012345678901234567890,x", "date", "1234567890123456789|x"},
      {'f', "sm=01", "start", "01||1900"},
      {'f', "sd=15", "start", "01|15|1900"},
      {'f', "sy=99", "start", "01|15|1999"},
      {'f', "sy=2039", "start", "01|15|1999"},  // out of range: the year stays
      {'f', "ey=100", "end", "|2000"},
      {'f', "em=123", "end", "12|2000"},  // a month field holds two characters
      {'f', "authrealm=staff", "auth", "staff|"},
      {'f', "authrealm=other", "auth", "staff|"},  // the request only fills empty fields
      {'i', "authrealm=*", "auth", "*|"},
      {'i', "authuser=ann", "auth", "*|ann"},
      {'f', "authuser=bob", "auth", "*|ann"},
      {'f', "debug=1", "debug", "1|4"},
      {'i', "debug=2", "debug", "2|20"},
      {'b', "debug=3", "debug", "3|20"},  // a wild rank shifts nothing
      {'f', "base=" + b243, "base", "243|" + b243},
      {'f', "base=", "base", "243|" + b243},
      {'f', "base=" + std::string(244, 'c'), "base", "243|" + b243},
      {'f', "base=http://h/", "base", "9|http://h/"},
      {'f', "priority=19abc", "numbers", "19|0|0|0|0|0|1"},
      {'f', "find_casesensitive=257", "numbers", "19|0|1|0|0|0|1"},
      {'f', "dnslookupenabled=99999999999999", "numbers", "19|0|1|2147483647|0|0|1"},
      {'f', "dailytotals=1", "numbers", "19|0|1|2147483647|1|0|1"},
      {'f', "dailytotals", "numbers", "19|0|1|2147483647|0|0|1"},  // no "=": an empty value
      {'i', "smartmemorydisabled=1", "numbers", "19|0|1|2147483647|0|0|1"},
      {'f', "smartmemorydisabled=1", "numbers", "19|0|1|2147483647|0|1|0"},
      {'f', "", "numbers", "19|0|1|2147483647|0|1|0"},
      {'f', "=", "numbers", "19|0|1|2147483647|0|1|0"},
  };
  for (const auto& s : steps) {
    if (s.source == 'f') Form(s.word);
    if (s.source == 'i') Ini(s.word);
    if (s.source == 'o') CompareParam(s.word.c_str(), &settings, &env, "other", 2);
    if (s.source == 'b') CompareParam(s.word.c_str(), &settings, &env, "FORM", 99);
    EXPECT_EQ(Field(s.field), s.value) << s.source << ":" << s.word.substr(0, 40);
  }
}

TEST_F(KeywordsTest, TopAndGreaterKeywordsOfEverySection) {
  const std::pair<const char*, SectionSetting StatsFields::*> sections[] = {
      {"badurls", &StatsFields::badUrls}, {"browsers", &StatsFields::browsers}, {"requests", &StatsFields::requests},
      {"domaintypes", &StatsFields::domainTypes}, {"domains", &StatsFields::domains}, {"search", &StatsFields::search},
      {"badreferrers", &StatsFields::badReferrers}, {"referrers", &StatsFields::referrers}};
  for (const auto& [name, section] : sections) {
    Ini(std::string(name) + "=2,5");
    Form(std::string(name) + "_top=10%");
    Form(std::string(name) + "_greater=9");
    EXPECT_EQ(Section(settings.*section), "2,10,9,1") << name;
  }
}

TEST_F(KeywordsTest, ExtraTextsFollowTheRankRule) {
  const std::pair<std::string, const char*> steps[] = {
      {"f:first form", "first form"}, {"f:from form", "from form"}, {"g:global", "global"}, {"f:form again", "global"},
      {"i:account", "account"}, {"g:later global", "account"}};
  for (const auto& [step, footer] : steps) {
    if (step[0] == 'g') log_SetExtraFooter(step.c_str() + 2, 3, &settings);
    if (step[0] == 'f') Form("extrafooter=" + step.substr(2));
    if (step[0] == 'i') Ini("extrafooter=" + step.substr(2));
    ASSERT_NE(settings.extraFooter, nullptr);
    EXPECT_STREQ(settings.extraFooter, footer) << step;
  }
  Ini("extraheader=head");
  EXPECT_STREQ(settings.extraHeader, "head");
}

TEST(ReturnValue, FieldsCountedFromOneAndCutToTheOutput) {
  const struct {
    size_t size;
    const char* text;
    int n;
    const char* out;
  } cases[] = {{16, "1,,3", 2, ""}, {16, "1,,3", 3, "3"}, {16, "abc", 1, "abc"}, {16, "abc", 2, ""}, {16, "a,b", 0, ""},
               {16, "", 1, ""}, {16, "a,", 2, ""}, {4, "abcdefgh,x", 1, "abc"}, {1, "abc", 1, ""}};
  for (const auto& c : cases) {
    char out[16] = "xxxxxxxxxxxxxxx";
    ReturnValue(out, c.size, c.text, c.n);
    EXPECT_STREQ(out, c.out) << c.text << " " << c.n;
  }
}

}  // namespace

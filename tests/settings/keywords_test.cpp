#include "settings/keywords.h"

#include <gtest/gtest.h>

#include <string>

#include "settings/settings_fixture.h"

namespace {

using KeywordsTest = SettingsTest;

TEST_F(KeywordsTest, InitializeGivesTheDocumentedDefaults) {
  EXPECT_STREQ(settings.configFile.c_str(), "loglantern.conf");
  EXPECT_EQ(settings.startYear, 1900);
  EXPECT_EQ(settings.endYear, 1900);
  EXPECT_EQ(settings.smartMemoryEnabled, 1);
  EXPECT_EQ(settings.smartMemoryKeepEntries, 100);
  EXPECT_EQ(settings.smartMemoryReclaimSize, 1000);
  EXPECT_EQ(settings.requests.show + settings.requests.top + settings.requests.greater +
                settings.requests.topIsPercent,
            0);
  EXPECT_EQ(settings.extraFooter, nullptr);
  EXPECT_TRUE(settings.imagePath.empty());
}

TEST_F(KeywordsTest, SectionValueSetsShowTopAndGreater) {
  Form("REQUESTS=1,25,3");
  EXPECT_EQ(settings.requests.show, 1);
  EXPECT_EQ(settings.requests.top, 25);
  EXPECT_EQ(settings.requests.greater, 3);

  Form("referrers=1,10%,3");
  EXPECT_EQ(settings.referrers.top, 10);
  EXPECT_EQ(settings.referrers.topIsPercent, 1);
  EXPECT_EQ(settings.referrers.greater, 3);

  // Two fields: greater falls back to 0; the percent flag is never cleared.
  Form("referrers=1,20");
  EXPECT_EQ(settings.referrers.top, 20);
  EXPECT_EQ(settings.referrers.greater, 0);
  EXPECT_EQ(settings.referrers.topIsPercent, 1);
}

TEST_F(KeywordsTest, SectionShowAloneResetsTopButKeepsGreater) {
  Form("requests_top=30");
  Form("requests_greater=7");
  Form("requests=1");
  EXPECT_EQ(settings.requests.show, 1);
  EXPECT_EQ(settings.requests.top, 0);
  EXPECT_EQ(settings.requests.greater, 7);
  // An empty value touches only show.
  Form("requests_top=4");
  Form("requests=");
  EXPECT_EQ(settings.requests.show, 0);
  EXPECT_EQ(settings.requests.top, 4);
}

TEST_F(KeywordsTest, TopAndGreaterKeywordsOfEverySection) {
  const struct {
    const char* name;
    SectionSetting StatsFields::*section;
  } sections[] = {{"badurls", &StatsFields::badUrls},
                  {"browsers", &StatsFields::browsers},
                  {"requests", &StatsFields::requests},
                  {"domaintypes", &StatsFields::domainTypes},
                  {"domains", &StatsFields::domains},
                  {"search", &StatsFields::search},
                  {"badreferrers", &StatsFields::badReferrers},
                  {"referrers", &StatsFields::referrers}};
  for (const auto& s : sections) {
    SCOPED_TRACE(s.name);
    Ini(std::string(s.name) + "=2,5");
    Form(std::string(s.name) + "_top=10%");
    Form(std::string(s.name) + "_greater=9");
    const SectionSetting& got = settings.*(s.section);
    EXPECT_EQ(got.show, 2);
    EXPECT_EQ(got.top, 10);
    EXPECT_EQ(got.topIsPercent, 1);
    EXPECT_EQ(got.greater, 9);
  }
}

TEST_F(KeywordsTest, UrlLosesOneTrailingSlash) {
  Form("url=http://example.org/");
  EXPECT_STREQ(settings.url.c_str(), "http://example.org");
  Form("url=http://example.org//");
  EXPECT_STREQ(settings.url.c_str(), "http://example.org/");
  Form("url=");
  EXPECT_STREQ(settings.url.c_str(), "");
}

TEST_F(KeywordsTest, SourceConditions) {
  Form("logs=/x/*.log");
  Form("AccessLog=/x/access.log");
  EXPECT_TRUE(settings.logs.empty());
  EXPECT_TRUE(settings.accessLog.empty());
  Ini("logs=/x/*.log");
  Ini("accesslog=/x/access.log");
  EXPECT_STREQ(settings.logs.c_str(), "/x/*.log");
  EXPECT_STREQ(settings.accessLog.c_str(), "/x/access.log");

  Ini("config=other.conf");
  EXPECT_STREQ(settings.configFile.c_str(), "loglantern.conf");
  Form("config=other.conf");
  EXPECT_STREQ(settings.configFile.c_str(), "other.conf");

  Ini("username=mallory");
  EXPECT_TRUE(settings.username.empty());
  Ini("smartmemorydisabled=1");
  EXPECT_EQ(settings.smartMemoryEnabled, 1);
}

TEST_F(KeywordsTest, PasswordGoesWhereItsSourceSays) {
  Form("password=typed");
  Ini("password=stored");
  EXPECT_STREQ(settings.password.c_str(), "typed");
  EXPECT_STREQ(settings.accountPassword.c_str(), "stored");
}

TEST_F(KeywordsTest, SourceNameIgnoresCaseAndUnknownSourcesGetOnlyOpenKeywords) {
  CompareParam("username=ann", &settings, &env, "FORM", 2);
  EXPECT_STREQ(settings.username.c_str(), "ann");
  CompareParam("logs=/a", &settings, &env, "Ini", 4);
  EXPECT_STREQ(settings.logs.c_str(), "/a");
  CompareParam("title=T", &settings, &env, "other", 2);
  CompareParam("logs=/b", &settings, &env, "other", 2);
  CompareParam("find=/f", &settings, &env, "other", 2);
  EXPECT_STREQ(settings.title.c_str(), "T");
  EXPECT_STREQ(settings.logs.c_str(), "/a");
  EXPECT_STREQ(settings.accountFind.c_str(), "/f");  // not the form, so the account's part
}

TEST_F(KeywordsTest, ValueDropsLaterEqualsSignsAndWordsWithoutEqualsHaveEmptyValues) {
  Form("title=A=B");
  EXPECT_STREQ(settings.title.c_str(), "AB");
  Form("dailytotals=1");
  Form("dailytotals");
  EXPECT_EQ(settings.dailyTotals, 0);
  Form("nosuchkeyword=1");
  Form("");
  Form("=");
}

TEST_F(KeywordsTest, DateFieldsAndYearRules) {
  Form("date=01011999,01311999");
  EXPECT_STREQ(settings.dateStart.c_str(), "01011999");
  EXPECT_STREQ(settings.dateEnd.c_str(), "01311999");
  Form("date=02021998");
  EXPECT_STREQ(settings.dateStart.c_str(), "02021998");
  EXPECT_STREQ(settings.dateEnd.c_str(), "");
  Form("date=123456789012345678901234567890,x");
  EXPECT_EQ(settings.dateStart.size(), 19u);

  Form("sm=01");
  Form("sd=15");
  Form("sy=99");
  EXPECT_STREQ(settings.startMonth.c_str(), "01");
  EXPECT_STREQ(settings.startDay.c_str(), "15");
  EXPECT_EQ(settings.startYear, 1999);
  Form("sy=2039");  // out of range: the year stays
  EXPECT_EQ(settings.startYear, 1999);
  Form("ey=100");
  EXPECT_EQ(settings.endYear, 2000);
  Form("em=123");  // a month field holds two characters
  EXPECT_STREQ(settings.endMonth.c_str(), "12");
}

TEST_F(KeywordsTest, AuthRealmAndUserFromTheRequestOnlyFillEmptyFields) {
  Form("authrealm=staff");
  Form("authrealm=other");
  EXPECT_STREQ(settings.authRealm.c_str(), "staff");
  Ini("authrealm=*");
  EXPECT_STREQ(settings.authRealm.c_str(), "*");
  Ini("authuser=ann");
  Form("authuser=bob");
  EXPECT_STREQ(settings.authUser.c_str(), "ann");
}

TEST_F(KeywordsTest, FindIsKeptApartBySource) {
  Form("find=/docs/");
  Ini("find=/users/ann/");
  EXPECT_STREQ(settings.formFind.c_str(), "/docs/");
  EXPECT_STREQ(settings.accountFind.c_str(), "/users/ann/");
  EXPECT_TRUE(settings.find.empty());
}

TEST_F(KeywordsTest, DebugRecordsTheRanksThatAskedForIt) {
  Form("debug=1");
  EXPECT_EQ(settings.debug, 1);
  EXPECT_EQ(settings.debugSources, 4);
  Ini("debug=2");
  EXPECT_EQ(settings.debug, 2);
  EXPECT_EQ(settings.debugSources, 4 | 16);
  CompareParam("debug=3", &settings, &env, "form", 99);  // a wild rank shifts nothing
  EXPECT_EQ(settings.debugSources, 4 | 16);
}

TEST_F(KeywordsTest, NumbersFollowAtoiAndSwitchesKeepTheirLowByte) {
  Form("priority=19abc");
  EXPECT_EQ(settings.priority, 19);
  Form("flushtoserver=x");
  EXPECT_EQ(settings.flushToServer, 0);
  Form("find_casesensitive=257");
  EXPECT_EQ(settings.findCaseSensitive, 1);
  Form("find_pattern=1");
  EXPECT_EQ(settings.findPattern, 1);
  Form("dnslookupenabled=99999999999999");
  EXPECT_EQ(settings.dnsLookupEnabled, 2147483647);
  Form("smartmemorydisabled=1");
  EXPECT_EQ(settings.smartMemoryDisabled, 1);
  EXPECT_EQ(settings.smartMemoryEnabled, 0);
}

TEST_F(KeywordsTest, BaseNeedsOneTo243Characters) {
  Form("base=" + std::string(243, 'b'));
  EXPECT_EQ(settings.base.size(), 243u);
  Form("base=");
  EXPECT_EQ(settings.base.size(), 243u);
  Form("base=" + std::string(244, 'c'));
  EXPECT_EQ(settings.base.c_str()[0], 'b');
  Form("base=http://h/");
  EXPECT_STREQ(settings.base.c_str(), "http://h/");
}

TEST_F(KeywordsTest, OverlongNamesAndValuesAreCutNotSpilled) {
  Form("title=" + std::string(5000, 't'));
  EXPECT_EQ(settings.title.size(), 243u);
  Form("username=" + std::string(500, 'u'));
  EXPECT_EQ(settings.username.size(), 99u);
  Form(std::string(300, 'n') + "=x");  // matches nothing
  Form("title" + std::string(300, ' ') + "=x");
  EXPECT_EQ(settings.title.size(), 243u);
}

TEST_F(KeywordsTest, ExtraTextsFollowTheRankRule) {
  Form("extrafooter=from form");
  ASSERT_NE(settings.extraFooter, nullptr);
  EXPECT_STREQ(settings.extraFooter, "from form");
  log_SetExtraFooter("global", 3, &settings);
  EXPECT_STREQ(settings.extraFooter, "global");
  Form("extrafooter=form again");
  EXPECT_STREQ(settings.extraFooter, "global");
  Ini("extrafooter=account");
  log_SetExtraFooter("later global", 3, &settings);
  EXPECT_STREQ(settings.extraFooter, "account");
  Ini("extraheader=head");
  EXPECT_STREQ(settings.extraHeader, "head");
}

TEST(ReturnValue, FieldsCountedFromOne) {
  char out[16];
  ReturnValue(out, sizeof out, "1,,3", 2);
  EXPECT_STREQ(out, "");
  ReturnValue(out, sizeof out, "1,,3", 3);
  EXPECT_STREQ(out, "3");
  ReturnValue(out, sizeof out, "abc", 1);
  EXPECT_STREQ(out, "abc");
  ReturnValue(out, sizeof out, "abc", 2);
  EXPECT_STREQ(out, "");
  ReturnValue(out, sizeof out, "a,b", 0);
  EXPECT_STREQ(out, "");
  ReturnValue(out, sizeof out, "", 1);
  EXPECT_STREQ(out, "");
  ReturnValue(out, sizeof out, "a,", 2);
  EXPECT_STREQ(out, "");
  ReturnValue(out, 4, "abcdefgh,x", 1);
  EXPECT_STREQ(out, "abc");
}

}  // namespace

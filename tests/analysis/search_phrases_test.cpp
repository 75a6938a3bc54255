#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "analysis/list.h"
#include "analysis/search_phrases.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "settings/stats_fields.h"
#include "support/test_support.h"

namespace {

struct Extracted {
  std::string list;  // title without " Search Phrases", or "" for none
  std::string phrase;
};

Extracted Extract(const char* referrer) {
  char work[244];
  int index = ExtractSearchPhrase(referrer, work);
  if (index < 0) return {"", ""};
  std::string title = kSearchListTitles[index];
  return {title.substr(0, title.size() - strlen(" Search Phrases")), work};
}

TEST(SearchPhrases, DecodesTheEnginesParameter) {
  Extracted e = Extract("http://www.google.com/search?hl=en&q=web+log%21");
  EXPECT_EQ(e.list, "Google");
  EXPECT_EQ(e.phrase, "web log!");
  e = Extract("http://search.yahoo.com:80/bin/search?p=Lantern");
  EXPECT_EQ(e.list, "Yahoo");
  EXPECT_EQ(e.phrase, "Lantern");
}

TEST(SearchPhrases, MoreSpecificHostsAreTestedFirst) {
  EXPECT_EQ(Extract("http://magellan.excite.com/search?search=x").list, "Magellan");
  EXPECT_EQ(Extract("http://www.excite.com/search.gw?search=x").list, "Excite");
  EXPECT_EQ(Extract("http://www.savvysearch.com/search?q=x").list, "SavvySearch");
  EXPECT_EQ(Extract("http://www.planetsearch.com/x?text=x").list, "PlanetSearch");
  EXPECT_EQ(Extract("http://www.search.com/x?QUERY=x").list, "SearchCom");
  EXPECT_EQ(Extract("http://altavista.telia.com/cgi-bin/query?q=x").list, "Telia");
  EXPECT_EQ(Extract("http://www.altavista.com/cgi-bin/query?q=x").list, "AltaVista");
}

TEST(SearchPhrases, TheFirstMatchingRowDecidesEvenWithoutItsParameter) {
  // Yahoo's parameter on a Google host: no phrase, no later row tried.
  EXPECT_EQ(Extract("http://www.google.com/search?p=x").list, "");
  // Magellan's second parameter is tried when the first is missing.
  Extracted e = Extract("http://magellan.excite.com/search?query=Two+words");
  EXPECT_EQ(e.list, "Magellan");
  EXPECT_EQ(e.phrase, "Two words");
  // Parameters are tried in the row's order, not the query's.
  EXPECT_EQ(Extract("http://www.netguide.com/s?Search.Query=a&query=b").phrase, "b");
}

TEST(SearchPhrases, OnlyTheSchemeAndHostPartIsMatchedWithCase) {
  EXPECT_EQ(Extract("http://WWW.GOOGLE.COM/search?q=x").list, "");
  EXPECT_EQ(Extract("http://example.org/google.com/?q=x").list, "");
  EXPECT_EQ(Extract("http://www.google.com?q=x").list, "");  // no third "/"
}

TEST(SearchPhrases, ParameterNamesIgnoreCaseButValuesKeepIt) {
  Extracted e = Extract("http://www.google.com/search?Q=Web+Log");
  EXPECT_EQ(e.list, "Google");
  EXPECT_EQ(e.phrase, "Web Log");
}

TEST(SearchPhrases, AParameterWithoutEqualsJoinsTheNextName) {
  EXPECT_EQ(Extract("http://www.google.com/search?flag&q=x").list, "");
}

TEST(SearchPhrases, AnEmptyValueIsStillAFoundParameter) {
  Extracted e = Extract("http://www.google.com/search?q=&x=1");
  EXPECT_EQ(e.list, "Google");
  EXPECT_EQ(e.phrase, "");
}

TEST(SearchPhrases, OverlongReferrersAreCutSafely) {
  std::string referrer = "http://www.google.com/search?q=" + std::string(1000, 'w');
  Extracted e = Extract(referrer.c_str());
  EXPECT_EQ(e.list, "Google");
  EXPECT_EQ(e.phrase, std::string(243 - strlen("http://www.google.com/search?q="), 'w'));
}

TEST(ParseQuery, LeavesTheTextAloneWhenNothingIsFound) {
  char text[64];
  for (const char* in : {"/search", "/search?", "/s?a=1&b=2", "/s?qq=1", "/s?q"}) {
    strcpy(text, in);
    EXPECT_EQ(parseQuery(text, "q"), 0) << in;
    EXPECT_STREQ(text, in);
  }
}

TEST(ParseQuery, TakesTheValueUpToTheNextAmpersand) {
  char text[64] = "/s?a=1&q=%41b+c&q=second";
  EXPECT_EQ(parseQuery(text, "q"), 1);
  EXPECT_STREQ(text, "Ab c");
  char longName[600];
  snprintf(longName, sizeof longName, "/s?%s=1&q=v", std::string(500, 'n').c_str());
  EXPECT_EQ(parseQuery(longName, "q"), 1);
  EXPECT_STREQ(longName, "v");
}

TEST(SearchTables, EveryListIsDisplayedOnceUnderItsTitle) {
  std::set<int> lists;
  for (const SearchDisplay& d : kSearchDisplay) {
    ASSERT_GE(d.list, 0);
    ASSERT_LT(d.list, kSearchEngineCount);
    lists.insert(d.list);
  }
  EXPECT_EQ(lists.size(), static_cast<size_t>(kSearchEngineCount));
  EXPECT_STREQ(kSearchListTitles[kSearchDisplay[1].list], "Telia Search Phrases");
  EXPECT_STREQ(kSearchListTitles[kSearchDisplay[21].list], "Mozilla Search Phrases");
  EXPECT_STREQ(kSearchDisplay[30].name, "Yahoo!");
}

class KeywordBlock : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    smart_memory_init(&settings_);
    init_list(&list_, &info_, kSearchListTitles[5]);
  }
  void TearDown() override {
    destroy(list_);
    destroyListInfo();
    smart_memory_reset_for_testing();
    ResetGlobalsForTesting();
  }
  void Add(const char* phrase, int times, int ignoreCase = 1) {
    for (int i = 0; i < times; ++i) add_item(&list_, info_, phrase, nullptr, nullptr, ignoreCase);
  }
  std::string Print(int searchHits) {
    testing_support::CaptureStdout capture;
    display_keywords(&settings_, list_, list_length(list_), 7, searchHits);
    return capture.Finish();
  }
  StatsFields settings_;
  ItemList* list_ = nullptr;
  ListInfo* info_ = nullptr;
};

std::string Row(int count, const char* phrase) {
  return "<tr>\n<td align=\"center\">" + std::to_string(count) + "</td>\n<td>" + phrase +
         "</td>\n</tr>\n";
}

const char kGoogleTitle[] =
    "<tr>\n<td colspan=2 align=\"left\" bgcolor=\"#40C080\">&nbsp;<i>Results from <a "
    "href=\"http://www.google.com\" target=\"_blank\">Google</a>: (";

TEST_F(KeywordBlock, PrintsTitleShareAndRowsInCountOrder) {
  Add("Web Log", 1);
  Add("web log", 2);  // merged into the first spelling
  Add("lantern", 1);
  EXPECT_EQ(Print(6), std::string(kGoogleTitle) + "67% of known searches)</i></td>\n</tr>\n" +
                          Row(3, "Web Log") + Row(1, "lantern"));
}

TEST_F(KeywordBlock, TopIsAPlainCountEvenWhenGivenAsAPercentage) {
  Add("a", 5);
  Add("b", 3);
  Add("c", 2);
  settings_.search.top = 2;
  settings_.search.topIsPercent = 1;
  std::string out = Print(10);
  EXPECT_NE(out.find("(100% of known searches)"), std::string::npos);
  EXPECT_NE(out.find(Row(5, "a") + Row(3, "b")), std::string::npos);
  EXPECT_EQ(out.find(Row(2, "c")), std::string::npos);
}

TEST_F(KeywordBlock, GreaterIsTheLeastCountListed) {
  Add("a", 5);
  Add("b", 2);
  Add("c", 1);
  settings_.search.greater = 2;
  std::string out = Print(16);
  EXPECT_NE(out.find("(50% of known searches)</i></td>\n</tr>\n" + Row(5, "a") + Row(2, "b")),
            std::string::npos);
  EXPECT_EQ(out.find(Row(1, "c")), std::string::npos);
}

TEST_F(KeywordBlock, AnEmptyListPrintsNothing) {
  EXPECT_EQ(Print(0), "");
}

}  // namespace

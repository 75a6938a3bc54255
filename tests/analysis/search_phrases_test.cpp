#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "analysis/list.h"
#include "analysis/search_phrases.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "settings/stats_fields.h"
#include "support/test_support.h"

namespace {

TEST(SearchPhrases, EngineRowsHostsAndParametersDecideThePhrase) {
  const std::string longWord(1000, 'w'), longName(500, 'n');
  const struct {
    std::string referrer, list, phrase;  // list: title without " Search Phrases"
  } cases[] = {
      {"http://www.google.com/search?hl=en&q=web+log%21", "Google", "web log!"},
      {"http://search.yahoo.com:80/bin/search?p=Lantern", "Yahoo", "Lantern"},
      // More specific hosts are tested first.
      {"http://magellan.excite.com/search?search=x", "Magellan", "x"},
      {"http://www.excite.com/search.gw?search=x", "Excite", "x"},
      {"http://www.savvysearch.com/search?q=x", "SavvySearch", "x"},
      {"http://www.planetsearch.com/x?text=x", "PlanetSearch", "x"},
      {"http://www.search.com/x?QUERY=x", "SearchCom", "x"},
      {"http://altavista.telia.com/cgi-bin/query?q=x", "Telia", "x"},
      {"http://www.altavista.com/cgi-bin/query?q=x", "AltaVista", "x"},
      // The first matching row decides, even without its parameter; its
      // parameters are tried in the row's order, not the query's.
      {"http://www.google.com/search?p=x", "", ""},
      {"http://magellan.excite.com/search?query=Two+words", "Magellan", "Two words"},
      {"http://www.netguide.com/s?Search.Query=a&query=b", "NetGuide", "b"},
      // Host part matched with case; parameter names without case.
      {"http://WWW.GOOGLE.COM/search?q=x", "", ""},
      {"http://example.org/google.com/?q=x", "", ""},
      {"http://www.google.com?q=x", "", ""},  // no third "/"
      {"http://www.google.com/search?Q=Web+Log", "Google", "Web Log"},
      {"http://www.google.com/search?flag&q=x", "", ""},  // a name without "=" runs on
      {"http://www.google.com/search?q=&x=1", "Google", ""},
      {"http://www.google.com/search?", "", ""},
      {"http://www.google.com/search?a=1&qq=1&q", "", ""},
      {"http://www.google.com/s?a=1&q=%41b+c&q=second", "Google", "Ab c"},
      {"http://www.google.com/search?q=" + longWord, "Google", std::string(243 - 31, 'w')},
  };
  for (const auto& c : cases) {
    char work[244];
    const int index = ExtractSearchPhrase(c.referrer.c_str(), work);
    std::string list = index < 0 ? "" : kSearchListTitles[index];
    if (index >= 0) list.resize(list.size() - strlen(" Search Phrases"));
    EXPECT_EQ(list, c.list) << c.referrer;
    if (index >= 0) {
      EXPECT_EQ(work, c.phrase) << c.referrer;
    }
  }
  // A name longer than the collecting buffer is compared by its start.
  std::string query = "/s?" + longName + "=1&q=v";
  EXPECT_EQ(parseQuery(query.data(), "q"), 1);
  EXPECT_STREQ(query.c_str(), "v");
}

// One engine's block: title with its share of the search hits, then rows in
// count order, cut by "top" (a plain count even when given as a percentage)
// and "greater" (the least count listed).
TEST(KeywordBlock, PrintsShareAndRowsCutByTopAndGreater) {
  const std::string title =
      "<tr>\n<td colspan=2 align=\"left\" bgcolor=\"#40C080\">&nbsp;<i>Results from <a "
      "href=\"http://www.google.com\" target=\"_blank\">Google</a>: (";
  auto row = [](int count, const char* phrase) {
    return "<tr>\n<td align=\"center\">" + std::to_string(count) + "</td>\n<td>" + phrase + "</td>\n</tr>\n";
  };
  const struct {
    int top, topIsPercent, greater, searchHits;
    std::string expected;
  } cases[] = {
      {0, 0, 0, 8, title + "100% of known searches)</i></td>\n</tr>\n" + row(5, "Web Log") + row(2, "b") + row(1, "c")},
      {2, 1, 0, 24, title + "33% of known searches)</i></td>\n</tr>\n" + row(5, "Web Log") + row(2, "b")},
      {0, 0, 2, 0, title + "0% of known searches)</i></td>\n</tr>\n" + row(5, "Web Log") + row(2, "b")},
  };
  for (const auto& c : cases) {
    ResetGlobalsForTesting();
    StatsFields settings;
    smart_memory_init(&settings);
    ItemList* list = nullptr;
    ListInfo* info = nullptr;
    init_list(&list, &info, kSearchListTitles[5]);
    testing_support::CaptureStdout none;
    display_keywords(&settings, list, 0, 7, 1);
    EXPECT_EQ(none.Finish(), "");
    for (const char* phrase : {"Web Log", "b", "web log", "c", "b", "WEB LOG", "web log", "Web log"})
      add_item(&list, info, phrase, nullptr, nullptr, 1);  // spellings merge into the first
    settings.search.top = c.top;
    settings.search.topIsPercent = c.topIsPercent;
    settings.search.greater = c.greater;
    testing_support::CaptureStdout capture;
    display_keywords(&settings, list, list_length(list), 7, c.searchHits);
    EXPECT_EQ(capture.Finish(), c.expected);
    destroy(list);
    destroyListInfo();
  }
  ResetGlobalsForTesting();
}

}  // namespace

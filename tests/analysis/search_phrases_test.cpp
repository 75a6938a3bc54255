#include "analysis/search_phrases.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// Which engine's list a referrer counts in ("" for none), and the phrase.
TEST(SearchPhrases, EngineRowsHostsAndParametersDecideThePhrase) {
  const struct {
    std::string referrer, list, phrase;  // list: title without " Search Phrases"
  } cases[] = {
      {"http://www.google.com/search?hl=en&q=web+log%21", "Google", "web log!"},
      {"http://magellan.excite.com/search?search=x", "Magellan", "x"},  // more specific hosts first
      {"http://www.excite.com/search.gw?search=x", "Excite", "x"},
      {"http://altavista.telia.com/cgi-bin/query?q=x", "Telia", "x"},
      {"http://www.google.com/search?p=x", "", ""},  // the first matching row decides
      {"http://www.netguide.com/s?Search.Query=a&query=b", "NetGuide", "b"},  // the row's order of parameters
      {"http://WWW.GOOGLE.COM/search?q=x", "", ""},  // hosts with case, parameter names without
      {"http://www.google.com/search?Q=Web+Log", "Google", "Web Log"},
      {"http://www.google.com?q=x", "", ""},  // no third "/"
      {"http://www.google.com/search?flag&q=x", "", ""},  // a name without "=" runs on
      {"http://www.google.com/search?a=1&qq=1&q", "", ""},
      {"http://www.google.com/s?a=1&q=%41b+c&q=second", "Google", "Ab c"},
      {"http://www.google.com/search?q=" + std::string(1000, 'w'), "Google", std::string(243 - 31, 'w')},
  };
  for (const auto& c : cases) {
    char work[244];
    const int index = ExtractSearchPhrase(c.referrer.c_str(), work);
    std::string list = index < 0 ? "" : kSearchListTitles[index];
    if (index >= 0) list.resize(list.size() - strlen(" Search Phrases"));
    EXPECT_EQ(list, c.list) << c.referrer;
    EXPECT_EQ(index >= 0 ? std::string(work) : "", c.phrase) << c.referrer;
  }
  // A name longer than the collecting buffer is compared by its start.
  std::string query = "/s?" + std::string(500, 'n') + "=1&q=v";
  EXPECT_EQ(parseQuery(query.data(), "q"), 1);
  EXPECT_STREQ(query.c_str(), "v");
}

}  // namespace

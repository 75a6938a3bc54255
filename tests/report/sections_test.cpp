// The report sections where the golden pages show one case of several:
// links of absolute URLs, daily totals across a year's end.
#include <ctime>
#include <string>
#include <vector>

#include "report/frame.h"
#include "report/sections.h"
#include "support/fixtures.h"

namespace {

using testing_support::CaptureStdout;
class SectionsTest : public SettingsTest {
  void SetUp() override { SettingsTest::SetUp(), ReportDefaults(); }
};

// Schemes of 3 to 5 letters are linked unchanged; "ftp://ab" (only 8
// characters) and a scheme of 6 are paths under the site's address.
TEST_F(SectionsTest, RowsLinkOnlyRealAbsoluteUrlsUnchanged) {
  ItemList* list = nullptr;
  ListInfo* info = nullptr;
  init_list(&list, &info, "Test");
  const std::pair<const char*, const char*> cases[] = {
      {"http://mirror.example.net/x", ""}, {"https://e.org/y", ""}, {"ftp://ab", "http://www.example.org"}, {"gopher://a.b/", "http://www.example.org"},
      {"ftp://ftp.example.org/f", ""}};
  for (const auto& [text, site] : cases) add_item(&list, info, text, nullptr, nullptr, 0);
  CaptureStdout out;
  display_list(&settings, list, 0, 0, 0, "requests", 66);
  const std::string all = out.Finish();
  for (const auto& [text, site] : cases)
    EXPECT_NE(all.find("<td><a href=\"" + std::string(site) + text + "\" target=\"_blank\">" + text + "</a>"), std::string::npos) << text;
  destroy(list);
}

// Counts 2, 4, 1 on the last two days of the year and the first of the next (7 hits): each row shows the
// day, the share, the colour of a weekday or weekend, and a bar; day 366 is shown only in a leap year.
TEST_F(SectionsTest, DailyTotalsWrapAtTheYearsLastDayInTheDateOrder) {
  const struct {
    int year;  // the first day is 30 December of this year
    const char* order;
    std::vector<std::string> rows;
  } cases[] = {
      {1999, "DMY", {"Thu|30/12|29%|red|150|2", "Fri|31/12|57%|red|300|4", "Sat|1/1|14%|blue|75|1"}},
      {2000, "MDY", {"Sat|12/30|29%|blue|150|2", "Sun|12/31|57%|blue|300|4", "Mon|1/1|14%|red|75|1", "Tue|1/2|0%|"}},
  };
  for (const auto& c : cases) {
    settings.dailyTotals = 1;
    SuperLog_SetDateFormat(c.order, kSourceForm);
    PassResults results;
    struct tm first = {};
    first.tm_year = c.year - 1900, first.tm_mon = 11, first.tm_mday = 30;
    results.rangeFirst = static_cast<ll::time32_t>(timegm(&first));
    results.rangeLast = results.rangeFirst + (static_cast<int>(c.rows.size()) * 86400 - 1);
    const bool leap = c.year == 2000;
    results.dailyCounts[363 + leap] = 2, results.dailyCounts[364 + leap] = 4, results.dailyCounts[0] = 1;
    if (!leap) results.dailyCounts[365] = 4;  // never shown
    results.dailyHits = 7;
    CaptureStdout out;
    PrintReportSections(&settings, &results);
    const std::string page = out.Finish();
    size_t at = 0;
    for (std::string row : c.rows) {
      std::vector<std::string> f;
      for (size_t bar; (bar = row.find('|')) != std::string::npos; row.erase(0, bar + 1)) f.push_back(row.substr(0, bar));
      f.push_back(row);
      const std::string expected = f[0] + "</font>&nbsp;" + f[1] + "</td>\n<td align=center>" + f[2] + "</td>\n<td>" +
          (f[3].empty() ? "0\n</td></tr>\n</table>" : "<img src=\"/img/" + f[3] + "2x5.gif\" height=\"5\" width=\"" + f[4] +
                                                       "\">&nbsp;" + f[5] + "\n");
      at = page.find(expected, at);
      EXPECT_NE(at, std::string::npos) << c.order << ": " << expected;
    }
    EXPECT_NE(page.find("</table>", at), std::string::npos);
    destroy(results.browsers);
    for (ItemList* l : results.search) destroy(l);
  }
}

TEST(NumberTexts, CommasEveryThreeDigitsAndSizeSuffixFromHalfAMegabyte) {
  char number[32];
  FormatWithCommas(number, 0, 12, 345678901);
  EXPECT_STREQ(number, "12,345,678,901");
  CaptureStdout out;
  PrintMbGbSuffix(0, 524287), PrintMbGbSuffix(0, 524288), PrintMbGbSuffix(1, 73741824), PrintMbGbSuffix(5, 0);
  EXPECT_EQ(out.Finish(), " (0.5 MB) (1.0 GB) (4.7 GB)");
}

}  // namespace

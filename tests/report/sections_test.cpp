// The report sections where the golden pages show one case of several:
// summary sentences, row limits and links, daily totals across a year's end,
// memory rows.

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "report/sections.h"
#include "support/fixtures.h"

namespace {

using testing_support::CaptureStdout;

class SectionsTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    ReportDefaults();
    init_list(&list_, &info_, "Test");
  }
  void TearDown() override {
    destroy(list_);
    SettingsTest::TearDown();
  }
  void Count(const char* text, int times) {
    for (int i = 0; i < times; ++i) add_item(&list_, info_, text, nullptr, nullptr, 0);
  }
  static ll::time32_t Utc(int year, int month, int day) {
    struct tm tm = {};
    tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
    return static_cast<ll::time32_t>(timegm(&tm));
  }

  ItemList* list_ = nullptr;
  ListInfo* info_ = nullptr;
};

TEST_F(SectionsTest, SummarySaysWhatPartOfTheListIsShown) {
  const struct {
    int count, top, pct, greater;
    const char* noun;
    std::string body;
  } cases[] = {
      {0, 10, 0, 0, "URLs", ""},
      {5, 10, 0, 0, "URLs", "<b>5</b> distinct URLs were found.  All are shown in the report."},
      {500, 0, 0, 0, "URLs", "<b>500</b> distinct URLs were found.  All are shown in the report."},
      {50, 100, 1, 0, "URLs", "<b>50</b> distinct URLs were found.  All are shown in the report."},
      {50, 10, 0, 0, "URLs", "This report shows the top 10 URLs requested.<br>\n<b>50</b> distinct URLs were found."},
      {95, 10, 1, 1, "URLs", "This report shows the top 10% of URLs requested.<br>\n<b>95</b> distinct URLs were found."},
      {5, 0, 0, 3, " bad URLs",
       "This report shows all  bad URLs with at least 3 requests.<br>\n<b>5</b> distinct  bad URLs were found."},
      {7, -1, 0, -1, "domains", "<b>7</b> distinct domains were found."},
  };
  for (const auto& c : cases) {
    CaptureStdout out;
    ReportSummary(c.count, c.top, c.pct, c.greater, "#FFDD00", c.noun);
    const std::string expected = c.body.empty() ? "" :
        "<tr>\n<td bgcolor=\"#FFDD00\" align=\"center\" width=\"10%\"><b>Summary:</b></td>\n<td colspan=2 "
        "bgcolor=\"#FFDD00\">" + c.body + "</td>\n</tr>\n";
    EXPECT_EQ(out.Finish(), expected) << c.count << " " << c.noun;
  }
  // Browser shares round down, and a count without hits is a share of 0.
  for (int hits : {1000, 0}) {
    gHits_Browsers = hits, NavCount = 6, MsieCount = 14;
    CaptureStdout out;
    ReportSummary(2, 0, 0, 0, "#FFDD00", "browsers");
    const std::string text = out.Finish();
    EXPECT_NE(text.find("(<b>0%</b>) were from versions of Netscape"), std::string::npos);
    EXPECT_NE(text.find(hits ? "(<b>1%</b>) were from versions of Microsoft" : "(<b>0%</b>) were from versions of Microsoft"),
              std::string::npos);
  }
}

TEST_F(SectionsTest, RowsStopAtGreaterOrTopAndLinkOnlyRealAbsoluteUrls) {
  Count("/index.html", 9);
  Count("http://mirror.example.net/x", 8);  // scheme of 4: linked unchanged
  Count("https://e.org/y", 7);              // scheme of 5
  Count("ftp://ab", 5);                     // only 8 characters: a path
  Count("gopher://old.example/", 4);        // scheme of 6: a path
  auto rows = [&](int top, int pct, int greater) {
    CaptureStdout out;
    display_list(&settings, list_, top, pct, greater, "requests", 66);
    return out.Finish();
  };
  auto count = [](const std::string& text) {
    int n = 0;
    for (size_t at = text.find("<tr><td align=center>"); at != std::string::npos; at = text.find("<tr><td align=center>", at + 1)) ++n;
    return n;
  };
  EXPECT_EQ(count(rows(0, 0, 5)), 4);
  EXPECT_EQ(count(rows(2, 0, 0)), 2);
  EXPECT_EQ(count(rows(50, 1, 0)), 2);  // 5 * 50 / 100
  EXPECT_EQ(count(rows(10, 1, 0)), 0);
  const std::string all = rows(0, 0, 0);
  for (const char* link : {"<td align=center>13.64%</td><td><a href=\"http://www.example.org/index.html\" target=\"_blank\">/index.html</a></td></tr>\n",
                           "<td><a href=\"http://mirror.example.net/x\" target=\"_blank\">http://mirror.example.net/x</a>",
                           "<td><a href=\"https://e.org/y\" target=\"_blank\">",
                           "<td><a href=\"http://www.example.orgftp://ab\" target=\"_blank\">",
                           "<td><a href=\"http://www.example.orggopher://old.example/\""})
    EXPECT_NE(all.find(link), std::string::npos) << link;
}

TEST_F(SectionsTest, DailyTotalsWrapAtTheYearsLastDayInTheDateOrder) {
  const struct {
    int first[3], last[3];
    const char* order;
    std::vector<std::string> rows;
  } cases[] = {
      {{2000, 12, 30}, {2001, 1, 2}, "MDY",
       {"Sat</font>&nbsp;12/30</td>\n<td align=center>29%</td>\n<td><img src=\"/img/blue2x5.gif\" height=\"5\" width=\"150\">&nbsp;2\n",
        "Sun</font>&nbsp;12/31</td>\n<td align=center>57%</td>\n<td><img src=\"/img/blue2x5.gif\" height=\"5\" width=\"300\">&nbsp;4\n",
        "Mon</font>&nbsp;1/1</td>\n<td align=center>14%</td>\n<td><img src=\"/img/red2x5.gif\" height=\"5\" width=\"75\">&nbsp;1\n",
        "Tue</font>&nbsp;1/2</td>\n<td align=center>0%</td>\n<td>0\n</td></tr>\n</table>"}},
      {{1999, 12, 30}, {2000, 1, 1}, "DMY",
       {"Thu</font>&nbsp;30/12</td>\n<td align=center>29%</td>\n<td><img src=\"/img/red2x5.gif\" height=\"5\" width=\"150\">&nbsp;2\n",
        "Fri</font>&nbsp;31/12</td>\n<td align=center>57%</td>\n<td><img src=\"/img/red2x5.gif\" height=\"5\" width=\"300\">&nbsp;4\n",
        "Sat</font>&nbsp;1/1</td>\n<td align=center>14%</td>\n<td><img src=\"/img/blue2x5.gif\" height=\"5\" width=\"75\">&nbsp;1\n</td></tr>\n</table>"}},
  };
  for (const auto& c : cases) {
    TearDown();
    SetUp();
    settings.dailyTotals = 1;
    SuperLog_SetDateFormat(c.order, kSourceForm);
    PassResults results;
    results.rangeFirst = Utc(c.first[0], c.first[1], c.first[2]);
    results.rangeLast = Utc(c.last[0], c.last[1], c.last[2]) + 86399;
    results.dailyCounts[363] = 2, results.dailyCounts[364] = 4, results.dailyCounts[0] = 1;
    results.dailyCounts[365] = 4;  // the leap year's last day, or never shown
    if (c.first[0] == 2000) results.dailyCounts[363] = 0, results.dailyCounts[364] = 2;
    results.dailyHits = 7;
    CaptureStdout out;
    PrintReportSections(&settings, &results);
    const std::string page = out.Finish();
    size_t at = 0;
    for (const std::string& row : c.rows) {
      at = page.find(row, at);
      EXPECT_NE(at, std::string::npos) << c.order << ": " << row;
    }
    destroy(results.browsers);
    for (ItemList* l : results.search) destroy(l);
  }
}

TEST_F(SectionsTest, MemoryRowsShowSettingsStatisticsAndRatio) {
  settings.smartMemoryMaxMemory = 600;
  gSM_CurrentBytesAllocated = 2560;
  gSM_TotalBytesAllocated = 1234567;
  gSM_MaximumBytesAllocated = 4096;
  std::string rows;
  for (int enabled : {1, 0}) {
    settings.smartMemoryEnabled = enabled;  // off: the table is closed all the same
    CaptureStdout out;
    PrintMemoryRows(&settings);
    rows += out.Finish();
  }
  // No log was read in this process: the ratio's base is 0.
  EXPECT_EQ(rows,
            "<tr><td colspan=6>&nbsp;</td></tr>\n<tr><td colspan=2 align=center><b>Memory Usage</b></td></tr>\n"
            "<tr><td>Smart Memory: Enabled</td><td>True<td></tr>\n"
            "<tr><td>Smart Memory: minimum list entries to keep</td><td>100<td></tr>\n"
            "<tr><td>Smart Memory: size of memory to reclaim</td><td>1000K<td></tr>\n"
            "<tr><td>Smart Memory: maximum memory to allocate</td><td>600K<td></tr>\n"
            "<tr><td>Current Bytes Allocated</td><td>2,560</td></tr>\n"
            "<tr><td>Total Bytes Allocated</td><td>1,234,567</td></tr>\n"
            "<tr><td>Maximum Bytes Allocated</td><td>4,096</td></tr>\n"
            "<tr><td>Total Bytes Freed</td><td>0</td></tr>\n"
            "<tr><td>Memory used to Log bytes read ratio:</td><td>inf%</td></tr>\n"
            "</table></center><p>\n</table></center><p>\n");
}

}  // namespace

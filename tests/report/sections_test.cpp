// The report sections: summary sentences, ranked rows, search frame, bar
// charts and memory rows.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "analysis/list.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "cgi/cgi_env.h"
#include "report/sections.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "support/test_support.h"

namespace {

using testing_support::CaptureStdout;
using testing_support::TempDir;
using testing_support::WriteFile;

// Stores a path in a settings field (cut at the field's width).
template <size_t N>
void SetPath(ll::FixedText<N>* field, const std::string& path) {
  field->set(path.data(), path.size());
}

std::string Summary(int count, int top, int pct, int greater, const char* noun) {
  CaptureStdout out;
  ReportSummary(count, top, pct, greater, "#FFDD00", noun);
  return out.Finish();
}

std::string SummaryCell(const std::string& body, char colspan = '2') {
  return std::string("<tr>\n<td bgcolor=\"#FFDD00\" align=\"center\" width=\"10%\"><b>Summary:"
                     "</b></td>\n<td colspan=") +
         colspan + " bgcolor=\"#FFDD00\">" + body + "</td>\n</tr>\n";
}

class SummaryTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetGlobalsForTesting(); }
  void TearDown() override { ResetGlobalsForTesting(); }
};

TEST_F(SummaryTest, EmptyListHasNoSummaryRow) { EXPECT_EQ(Summary(0, 10, 0, 0, "URLs"), ""); }

TEST_F(SummaryTest, ShortListSaysAllAreShown) {
  EXPECT_EQ(Summary(5, 10, 0, 0, "URLs"),
            SummaryCell("<b>5</b> distinct URLs were found.  All are shown in the report."));
  // No limit at all: every row is shown too.
  EXPECT_EQ(Summary(500, 0, 0, 0, "URLs"),
            SummaryCell("<b>500</b> distinct URLs were found.  All are shown in the report."));
  // 100% of the entries is all of them.
  EXPECT_EQ(Summary(50, 100, 1, 0, "URLs"),
            SummaryCell("<b>50</b> distinct URLs were found.  All are shown in the report."));
}

TEST_F(SummaryTest, LongListSaysWhatPartIsShown) {
  EXPECT_EQ(Summary(50, 10, 0, 0, "URLs"),
            SummaryCell("This report shows the top 10 URLs requested.<br>\n"
                        "<b>50</b> distinct URLs were found."));
  EXPECT_EQ(Summary(95, 10, 1, 1, "URLs"),
            SummaryCell("This report shows the top 10% of URLs requested.<br>\n"
                        "<b>95</b> distinct URLs were found."));
  EXPECT_EQ(Summary(5, 0, 0, 3, " bad URLs"),
            SummaryCell("This report shows all  bad URLs with at least 3 requests.<br>\n"
                        "<b>5</b> distinct  bad URLs were found."));
}

TEST_F(SummaryTest, UnsetLimitsGiveOnlyTheCount) {
  EXPECT_EQ(Summary(7, -1, 0, -1, "domains"), SummaryCell("<b>7</b> distinct domains were found."));
}

TEST_F(SummaryTest, SearchTableIsTwoColumnsWide) {
  EXPECT_EQ(Summary(3, 0, 0, 0, "phrases"),
            SummaryCell("<b>3</b> distinct phrases were found.  All are shown in the report.",
                        '1'));
}

TEST_F(SummaryTest, BrowserSharesBelowOnePercentReadAsZero) {
  gHits_Browsers = 1000;
  NavCount = 6;    // 0.6%
  MsieCount = 14;  // 1.4%
  EXPECT_EQ(Summary(2, 0, 0, 0, "browsers"),
            SummaryCell("<b>2</b> distinct browsers were found.  All are shown in the report."
                        "<br>\n<b>6</b> of the requests (<b>0%</b>) were from versions of "
                        "Netscape Navigator-brand browsers.<br>\n<b>14</b> of the requests "
                        "(<b>1%</b>) were from versions of Microsoft Internet Explorer."));
  gHits_Browsers = 0;  // no base: shares are 0, not a division by zero
  EXPECT_NE(Summary(2, 0, 0, 0, "browsers").find("(<b>0%</b>) were from versions of Microsoft"),
            std::string::npos);
}

// ---- ranked rows ----

constexpr const char* kRowsHeader =
    "<tr><td align=\"center\" width=\"10%\"><b>Quantity</b></td><td align=\"center\" "
    "width=\"10%\"><b>% of Total</b></td><td><b>Item</b></td></tr>\n";

class ListRowsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings_, &env_);
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    smart_memory_init(&settings_);
    settings_.url.set("http://www.example.org");
    init_list(&list_, &info_, "Test");
  }
  void TearDown() override {
    destroy(list_);
    destroyListInfo();
    ResetGlobalsForTesting();
  }

  void Count(const char* text, int times, const char* secondary = nullptr) {
    for (int i = 0; i < times; ++i) add_item(&list_, info_, text, secondary, nullptr, 0);
  }

  std::string Rows(int top, int pct, int greater, const char* noun, int total) {
    CaptureStdout out;
    display_list(&settings_, list_, top, pct, greater, noun, total);
    return out.Finish();
  }

  // The counts of the rows printed, in order.
  static std::vector<int> RowCounts(const std::string& rows) {
    std::vector<int> counts;
    const std::string cell = "<tr><td align=center>";
    for (size_t at = rows.find(cell); at != std::string::npos; at = rows.find(cell, at + 1))
      counts.push_back(atoi(rows.c_str() + at + cell.size()));
    return counts;
  }

  StatsFields settings_;
  CgiEnv env_;
  ItemList* list_ = nullptr;
  ListInfo* info_ = nullptr;
};

TEST_F(ListRowsTest, RowsStopAtTheFirstCountBelowGreater) {
  Count("a", 9);
  Count("b", 7);
  Count("c", 5);
  Count("d", 4);
  Count("e", 8);
  EXPECT_EQ(RowCounts(Rows(0, 0, 5, "", 33)), (std::vector<int>{9, 8, 7, 5}));
  EXPECT_EQ(RowCounts(Rows(0, 0, 0, "", 33)), (std::vector<int>{9, 8, 7, 5, 4}));
}

TEST_F(ListRowsTest, TopCountsRowsOrAPercentageOfTheEntries) {
  char name[8];
  for (int i = 0; i < 45; ++i) {
    snprintf(name, sizeof name, "i%02d", i);
    Count(name, 1 + i % 5);
  }
  EXPECT_EQ(RowCounts(Rows(3, 0, 0, "", 100)).size(), 3u);
  EXPECT_EQ(RowCounts(Rows(10, 1, 0, "", 100)).size(), 4u);  // 45 * 10 / 100
  EXPECT_EQ(RowCounts(Rows(1, 1, 0, "", 100)).size(), 0u);   // 45 * 1 / 100 = 0 rows
}

TEST_F(ListRowsTest, RequestRowsLinkPathsUnderTheSiteAndAbsoluteUrlsAsTheyAre) {
  Count("/index.html", 6);
  Count("http://mirror.example.net/x", 5);  // scheme of 4: linked unchanged
  Count("https://e.org/y", 4);              // scheme of 5
  Count("ftp://ab", 3);                     // only 8 characters: treated as a path
  Count("gopher://old.example/", 2);        // scheme of 6: treated as a path
  std::string rows = Rows(0, 0, 0, "requests", 20);
  EXPECT_NE(rows.find("<td align=center>30.00%</td><td><a href=\"http://www.example.org/index.html"
                      "\" target=\"_blank\">/index.html</a></td></tr>\n"),
            std::string::npos);
  EXPECT_NE(rows.find("<td><a href=\"http://mirror.example.net/x\" target=\"_blank\">"
                      "http://mirror.example.net/x</a></td></tr>\n"),
            std::string::npos);
  EXPECT_NE(rows.find("<td><a href=\"https://e.org/y\" target=\"_blank\">"), std::string::npos);
  EXPECT_NE(rows.find("<td><a href=\"http://www.example.orgftp://ab\" target=\"_blank\">"),
            std::string::npos);
  EXPECT_NE(rows.find("<td><a href=\"http://www.example.orggopher://old.example/\""),
            std::string::npos);
}

TEST_F(ListRowsTest, BadUrlsListTheirReferrersWhateverTheLimits) {
  Count("/gone.html", 3, "http://a.example/links.html");
  Count("/gone.html", 1, "http://b.example/");
  Count("/old.html", 1);
  std::string rows = Rows(1, 0, 0, "requests", 10);
  EXPECT_EQ(rows, std::string(kRowsHeader) +
                      "<tr><td align=center>4</td><td align=center>40.00%</td>"
                      "<td><a href=\"http://www.example.org/gone.html\" target=\"_blank\">"
                      "/gone.html</a>\n<font size=\"-1\" face=\"Arial,Helv\">"
                      "<br>\n&nbsp;&nbsp;<i>3&nbsp;referrers&nbsp;from:&nbsp;"
                      "<a href=\"http://a.example/links.html\" target=\"_blank\">"
                      "http://a.example/links.html</a></i>"
                      "<br>\n&nbsp;&nbsp;<i>1&nbsp;referrer&nbsp;from:&nbsp;"
                      "<a href=\"http://b.example/\" target=\"_blank\">http://b.example/</a></i>"
                      "\n</font>\n</td></tr>\n");
}

// ---- section frames and bar charts ----

class SectionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings_, &env_);
    ResetGlobalsForTesting();
    SuperLog_ResetForTesting();
    smart_memory_reset_for_testing();
    smart_memory_init(&settings_);
    settings_.imagePath.set("/img");
  }
  void TearDown() override {
    destroy(results_.browsers);
    for (ItemList* l : results_.search) destroy(l);
    destroyListInfo();
    SuperLog_ResetForTesting();
    ResetGlobalsForTesting();
  }

  std::string Sections() {
    CaptureStdout out;
    PrintReportSections(&settings_, &results_);
    return out.Finish();
  }

  static ll::time32_t Utc(int year, int month, int day) {
    struct tm tm = {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    return static_cast<ll::time32_t>(timegm(&tm));
  }

  StatsFields settings_;
  CgiEnv env_;
  PassResults results_;
};

std::string ChartOpening(const char* anchor, const char* colour, const char* title,
                         const char* description) {
  return std::string("\n<p><a name=\"") + anchor +
         "\"></a><hr noshade><p>\n<center><table border=1 width=\"80%\" cellspacing=0>\n"
         "<tr>\n<td bgcolor=\"" + colour + "\" align=\"center\"><font size=\"+1\"><b>" + title +
         "</b></font></td>\n</tr>\n<tr>\n<td bgcolor=\"" + colour + "\">" + description +
         "</td>\n</tr>\n";
}

TEST_F(SectionsTest, DailyTotalsCrossTheEndOfALeapYear) {
  settings_.dailyTotals = 1;
  results_.rangeFirst = Utc(2000, 12, 30);          // a Saturday
  results_.rangeLast = Utc(2001, 1, 2) + 86399;
  results_.dailyCounts[364] = 2;  // 30 December 2000
  results_.dailyCounts[365] = 4;  // 31 December: the leap year's extra day
  results_.dailyCounts[0] = 1;    // 1 January 2001
  results_.dailyHits = 7;
  std::string page = Sections();
  std::string expected =
      ChartOpening("daily", "#CC9966", "Daily Totals",
                   "This report shows how many hits your site received on each day.") +
      "<tr>\n<td bgcolor=\"#FFFFCC\">\n<table border=0 width=\"100%\">\n"
      "<tr>\n<td align=right><b>Day</b></td>\n<td align=center><b>% of Total</b></td>\n"
      "<td><b>Number of Hits</b></td>\n</tr>\n"
      "<tr><td align=\"right\"><font size=\"-1\">Sat</font>&nbsp;12/30</td>\n"
      "<td align=center>29%</td>\n<td><img src=\"/img/blue2x5.gif\" height=\"5\" width=\"150\">"
      "&nbsp;2\n</td></tr>\n"
      "<tr><td align=\"right\"><font size=\"-1\">Sun</font>&nbsp;12/31</td>\n"
      "<td align=center>57%</td>\n<td><img src=\"/img/blue2x5.gif\" height=\"5\" width=\"300\">"
      "&nbsp;4\n</td></tr>\n"
      "<tr><td align=\"right\"><font size=\"-1\">Mon</font>&nbsp;1/1</td>\n"
      "<td align=center>14%</td>\n<td><img src=\"/img/red2x5.gif\" height=\"5\" width=\"75\">"
      "&nbsp;1\n</td></tr>\n"
      "<tr><td align=\"right\"><font size=\"-1\">Tue</font>&nbsp;1/2</td>\n"
      "<td align=center>0%</td>\n<td>0\n</td></tr>\n"
      "</table></td>\n</tr>\n</table></center><p>";
  EXPECT_EQ(page, expected);
}

TEST_F(SectionsTest, DailyTotalsWrapAfterDay364InACommonYearAndFollowTheDateOrder) {
  settings_.dailyTotals = 1;
  SuperLog_SetDateFormat("DMY", kSourceForm);
  results_.rangeFirst = Utc(1999, 12, 31);
  results_.rangeLast = Utc(2000, 1, 1) + 86399;
  results_.dailyCounts[364] = 3;
  results_.dailyCounts[0] = 5;
  results_.dailyCounts[365] = 99;  // not part of 1999: never shown
  results_.dailyHits = 8;
  std::string page = Sections();
  EXPECT_NE(page.find("Fri</font>&nbsp;31/12</td>\n<td align=center>38%</td>\n"
                      "<td><img src=\"/img/red2x5.gif\" height=\"5\" width=\"9\">&nbsp;3\n"),
            std::string::npos);
  EXPECT_NE(page.find("Sat</font>&nbsp;1/1</td>\n<td align=center>62%</td>\n"
                      "<td><img src=\"/img/blue2x5.gif\" height=\"5\" width=\"15\">&nbsp;5\n"),
            std::string::npos);
  EXPECT_EQ(page.find(">99\n"), std::string::npos);
}

// ---- memory rows ----

TEST_F(SectionsTest, MemoryRowsShowSettingsStatisticsAndRatio) {
  settings_.smartMemoryMaxMemory = 600;
  gSM_CurrentBytesAllocated = 2560;
  gSM_TotalBytesAllocated = 1234567;
  gSM_MaximumBytesAllocated = 4096;
  gSM_TotalBytesFreed = 0;
  std::string rows;
  {
    CaptureStdout out;
    PrintMemoryRows(&settings_);
    rows = out.Finish();
  }
  // No log was read in this process: the ratio's base is 0.
  std::string expected =
      "<tr><td colspan=6>&nbsp;</td></tr>\n<tr><td colspan=2 align=center><b>Memory Usage</b>"
      "</td></tr>\n"
      "<tr><td>Smart Memory: Enabled</td><td>True<td></tr>\n"
      "<tr><td>Smart Memory: minimum list entries to keep</td><td>100<td></tr>\n"
      "<tr><td>Smart Memory: size of memory to reclaim</td><td>1000K<td></tr>\n"
      "<tr><td>Smart Memory: maximum memory to allocate</td><td>600K<td></tr>\n"
      "<tr><td>Current Bytes Allocated</td><td>2,560</td></tr>\n"
      "<tr><td>Total Bytes Allocated</td><td>1,234,567</td></tr>\n"
      "<tr><td>Maximum Bytes Allocated</td><td>4,096</td></tr>\n"
      "<tr><td>Total Bytes Freed</td><td>0</td></tr>\n"
      "<tr><td>Memory used to Log bytes read ratio:</td><td>inf%</td></tr>\n"
      "</table></center><p>\n";
  EXPECT_EQ(rows, expected);

  settings_.smartMemoryEnabled = 0;  // the table is closed all the same
  CaptureStdout out;
  PrintMemoryRows(&settings_);
  EXPECT_EQ(out.Finish(), "</table></center><p>\n");
}

}  // namespace

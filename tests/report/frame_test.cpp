// The page frame: number formatters, head, header block, jump bar, footer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "analysis/list.h"
#include "base/globals.h"
#include "cgi/cgi_env.h"
#include "report/frame.h"
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

std::string Commas(uint32_t plain, uint32_t high, uint32_t low) {
  char buf[26];
  memset(buf, 'x', sizeof buf);
  FormatWithCommas(buf, plain, high, low);
  return buf;
}

std::string Suffix(uint32_t high, uint32_t low) {
  CaptureStdout out;
  PrintMbGbSuffix(high, low);
  return out.Finish();
}

TEST(FormatWithCommas, GroupsDigitsInThreesFromTheRight) {
  EXPECT_EQ(Commas(0, 0, 0), "0");
  EXPECT_EQ(Commas(7, 0, 0), "7");
  EXPECT_EQ(Commas(123, 0, 0), "123");
  EXPECT_EQ(Commas(1000, 0, 0), "1,000");
  EXPECT_EQ(Commas(123456, 0, 0), "123,456");
  EXPECT_EQ(Commas(1234567, 0, 0), "1,234,567");
  EXPECT_EQ(Commas(4294967295u, 0, 0), "4,294,967,295");
}

TEST(FormatWithCommas, ReadsTheTwoWordCounterWhenThePlainNumberIsZero) {
  EXPECT_EQ(Commas(0, 1, 5), "1,000,000,005");
  EXPECT_EQ(Commas(0, 0, 999999999), "999,999,999");
  // A plain number wins over the counter.
  EXPECT_EQ(Commas(42, 1, 5), "42");
  // The longest text fills the documented 26 bytes exactly.
  std::string longest = Commas(0, 4294967295u, 999999999);
  EXPECT_EQ(longest, "4,294,967,295,999,999,999");
  EXPECT_EQ(longest.size(), 25u);
}

TEST(PrintMbGbSuffix, SwitchesAtHalfAMegabyteAndAtOneGigabyte) {
  EXPECT_EQ(Suffix(0, 0), "");
  EXPECT_EQ(Suffix(0, 524287), "");
  EXPECT_EQ(Suffix(0, 524288), " (0.5 MB)");
  EXPECT_EQ(Suffix(0, 1073741823), " (1024.0 MB)");
  EXPECT_EQ(Suffix(1, 73741824), " (1.0 GB)");  // 1,073,741,824
  EXPECT_EQ(Suffix(5, 0), " (4.7 GB)");
}

class FrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings_, &env_);
    ResetGlobalsForTesting();
    SuperLog_ResetForTesting();
    ResetExtraTextRanksForTesting();
    settings_.imagePath.set("/img");
    settings_.title.set("Web Site Analysis");
    settings_.url.set("http://www.example.org");
    settings_.find.set("/");
    settings_.dateStart.set("12151998");
    settings_.dateEnd.set("01151999");
  }
  void TearDown() override {
    free(settings_.extraHeader);
    free(settings_.extraFooter);
    SuperLog_ResetForTesting();
    ResetGlobalsForTesting();
  }

  std::string Header(uint32_t requests = 0, uint32_t low = 0, uint32_t high = 0) {
    CaptureStdout out;
    DisplayHeader(&settings_, requests, low, high);
    return out.Finish();
  }

  // Makes the log reader see one log inside the report range, so that the
  // header shows totals instead of the "no log files" row.
  void OpenOneLogInRange() {
    WriteFile(dir_.file("access.log"),
              "1.2.3.4 - - [20/Dec/1998:10:00:00 +0000] \"GET / HTTP/1.0\" 200 100\n");
    SetPath(&settings_.logs, dir_.file("*.log"));
    SuperLog_Init(&settings_, 913680000, 916444799);  // 15 Dec 1998 .. 15 Jan 1999, UTC
    ASSERT_TRUE(SuperLog_NextLogFile());
    SuperLog_NextLogFile_Done();
  }

  TempDir dir_;
  StatsFields settings_;
  CgiEnv env_;
};

TEST_F(FrameTest, HeadWarnsAboutRemoteDebuggingExceptOnItsOwnPage) {
  std::string plain;
  {
    CaptureStdout out;
    PrintHead(&settings_, &env_);
    plain = out.Finish();
  }
  EXPECT_EQ(plain,
            "<html>\n<head>\n<title>Web Site Analysis</title>\n</head>\n\n\n\n\n"
            "<body bgcolor=\"#FFFFFF\" text=\"#000000\">\n");

  settings_.remoteDebugEnabled = 1;
  std::string warned;
  {
    CaptureStdout out;
    PrintHead(&settings_, &env_);
    warned = out.Finish();
  }
  EXPECT_EQ(warned, plain +
                        "<b><blink>Warning!  Remote debugging is enabled!</blink></b><br>"
                        "Please remember to edit the Loglantern configuration file to disable "
                        "remote debugging when it is no longer needed.<p>");

  settings_.runMode = kRunRemoteDebug;
  CaptureStdout out;
  PrintHead(&settings_, &env_);
  EXPECT_EQ(out.Finish(), plain);
}

TEST_F(FrameTest, RangeIsWrittenInEachOfTheSixDateOrders) {
  const char* orders[] = {"DMY", "DYM", "MDY", "MYD", "YDM", "YMD"};
  const char* expected[] = {
      "15/12/1998 - 15/01/1999", "15/1998/12 - 15/1999/01", "12/15/1998 - 01/15/1999",
      "12/1998/15 - 01/1999/15", "1998/15/12 - 1999/15/01", "1998/12/15 - 1999/01/15",
  };
  for (int i = 0; i < 6; ++i) {
    SuperLog_SetDateFormat(orders[i], kSourceForm);
    std::string row = std::string("<b>Date Range Analyzed:</b></td><td width=\"50%\">") +
                      expected[i] + "</td>\n";
    EXPECT_NE(Header().find(row), std::string::npos) << orders[i];
  }
}

TEST_F(FrameTest, ShortDateTextsEndAtTheirFirstMissingCharacter) {
  settings_.dateStart.set("1900");  // what no date fields at all give
  settings_.dateEnd.set("1900");
  const std::pair<const char*, const char*> cases[] = {
      {"DMY", "00/19/"}, {"DYM", "00/"}, {"MDY", "19/00/"}, {"MYD", "19/"}, {"YDM", ""}, {"YMD", ""},
  };
  for (const auto& [order, day] : cases) {
    SuperLog_SetDateFormat(order, kSourceForm);
    std::string page = Header();
    EXPECT_NE(page.find(std::string(">") + day + " - " + day + "</td>"), std::string::npos) << order;
    EXPECT_EQ(page.find('\0'), std::string::npos);
  }
}

TEST_F(FrameTest, DateOfReportFollowsTheDateOrder) {
  ReportStartTime = 915202800;  // 1 Jan 1999 15:00 UTC
  EXPECT_NE(Header().find(">January 01, 1999 at 03:00 PM</td>\n"), std::string::npos);
  SuperLog_SetDateFormat("DMY", kSourceForm);
  EXPECT_NE(Header().find(">01 January 1999 at 15:00 (03:00 PM)</td>\n"), std::string::npos);
}

TEST_F(FrameTest, OptionalRowsAppearOnlyWhenSet) {
  std::string bare = Header();
  EXPECT_EQ(bare.find("Authenticated"), std::string::npos);
  EXPECT_EQ(bare.find("Ignore Requests"), std::string::npos);
  EXPECT_EQ(bare.find("Omit Requests"), std::string::npos);

  settings_.authRealm.set("staff");
  settings_.authUser.set("ann");
  settings_.filterDomains.set("example.com");
  settings_.filterFileTypes.set("gif,jpg");
  std::string page = Header();
  // The optional rows carry no line end inside the row.
  EXPECT_NE(page.find("<tr>\n<td width=\"50%\"><b>For Authenticated Realm:</b></td>"
                      "<td width=\"50%\">staff</td></tr>\n"
                      "<tr>\n<td width=\"50%\"><b>For Authenticated User:</b></td>"
                      "<td width=\"50%\">ann</td></tr>\n"
                      "<tr>\n<td width=\"50%\"><b>Ignore Requests from Domains:</b></td>"
                      "<td width=\"50%\">example.com</td></tr>\n"
                      "<tr>\n<td width=\"50%\"><b>Omit Requests for Files with Extensions:</b>"
                      "</td><td width=\"50%\">gif,jpg</td></tr>\n"
                      "<tr>\n<td width=\"50%\"><b>Date of Report:</b>"),
            std::string::npos);
}

TEST_F(FrameTest, MemoryWarningNamesEveryCutListInCatalogueOrder) {
  OpenOneLogInRange();
  ListInfo urls{nullptr, "Top URLs", 100, 3, nullptr};
  ListInfo agents{nullptr, "Browsers", 100, 0, nullptr};
  ListInfo google{nullptr, "Google Search Phrases", 100, 1, nullptr};
  urls.next = &agents;
  agents.next = &google;
  gListInfo.first = &urls;
  gListInfo.last = &google;
  std::string page = Header();
  EXPECT_NE(page.find("<tr><td colspan=2><hr></td></tr><tr>\n<td width=\"50%\" valign=\"top\">"
                      "<font color=red><b>Warning:</b></font> Processing this report required "
                      "more memory than was available. The results for the following reports "
                      "may not be accurate after the top few results.</td>\n<td width=\"50%\">"
                      "Top URLs<br>\nGoogle Search Phrases<br>\n</td>\n</tr>\n"),
            std::string::npos);

  settings_.smartMemoryEnabled = 0;
  EXPECT_EQ(Header().find("Warning:"), std::string::npos);
  gListInfo = ListCatalogue{};
}

TEST_F(FrameTest, FooterShowsMinutesAndSecondsOfTheElapsedTime) {
  CaptureStdout out;
  PrintFooter(&settings_, 3725);  // 1 h 2 min 5 s: the hours are dropped
  EXPECT_EQ(out.Finish().rfind("\n\n<p><hr noshade><p>\n\n<font size=\"-1\">Time required to "
                               "generate report = 02:05 (minutes:seconds).<br>\n",
                               0),
            0u);
}

}  // namespace

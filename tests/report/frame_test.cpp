// The page frame: number formatters, head, header block, jump bar, footer.

#include <cstdlib>
#include <cstring>
#include <string>

#include "support/fixtures.h"

namespace {

using testing_support::CaptureStdout;
using testing_support::TempDir;
using testing_support::WriteFile;

TEST(NumberTexts, CommasEveryThreeDigitsAndSizeSuffixes) {
  const struct {
    uint32_t plain, high, low;
    const char* text;
  } commas[] = {
      {0, 0, 0, "0"}, {7, 0, 0, "7"}, {123, 0, 0, "123"}, {1000, 0, 0, "1,000"}, {123456, 0, 0, "123,456"},
      {4294967295u, 0, 0, "4,294,967,295"}, {0, 1, 5, "1,000,000,005"}, {0, 0, 999999999, "999,999,999"},
      {42, 1, 5, "42"},  // a plain number wins over the two-word counter
      {0, 4294967295u, 999999999, "4,294,967,295,999,999,999"},  // fills the 26 bytes
  };
  for (const auto& c : commas) {
    char buf[26];
    memset(buf, 'x', sizeof buf);
    FormatWithCommas(buf, c.plain, c.high, c.low);
    EXPECT_STREQ(buf, c.text);
  }
  const struct {
    uint32_t high, low;
    const char* text;
  } suffixes[] = {{0, 0, ""}, {0, 524287, ""}, {0, 524288, " (0.5 MB)"}, {0, 1073741823, " (1024.0 MB)"},
                  {1, 73741824, " (1.0 GB)"}, {5, 0, " (4.7 GB)"}};
  for (const auto& c : suffixes) {
    CaptureStdout out;
    PrintMbGbSuffix(c.high, c.low);
    EXPECT_EQ(out.Finish(), c.text) << c.high << " " << c.low;
  }
}

class FrameTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    ReportDefaults();
    settings.dateStart.set("12151998");
    settings.dateEnd.set("01151999");
  }

  std::string Header(uint32_t requests = 0, uint32_t low = 0, uint32_t high = 0) {
    CaptureStdout out;
    DisplayHeader(&settings, requests, low, high);
    return out.Finish();
  }

  // Makes the log reader see one log inside the report range, so that the
  // header shows totals instead of the "no log files" row.
  void OpenOneLogInRange() {
    WriteFile(dir_.file("access.log"),
              "1.2.3.4 - - [20/Dec/1998:10:00:00 +0000] \"GET / HTTP/1.0\" 200 100\n");
    settings.logs.set(dir_.file("*.log").c_str());
    SuperLog_Init(&settings, 913680000, 916444799);  // 15 Dec 1998 .. 15 Jan 1999, UTC
    ASSERT_TRUE(SuperLog_NextLogFile());
    SuperLog_NextLogFile_Done();
  }

  TempDir dir_;
};

TEST_F(FrameTest, HeadWarnsAboutRemoteDebuggingExceptOnItsOwnPage) {
  const std::string plain =
      "<html>\n<head>\n<title>Web Site Analysis</title>\n</head>\n\n\n\n\n<body bgcolor=\"#FFFFFF\" text=\"#000000\">\n";
  const std::string warning =
      "<b><blink>Warning!  Remote debugging is enabled!</blink></b><br>Please remember to edit the Loglantern "
      "configuration file to disable remote debugging when it is no longer needed.<p>";
  const std::pair<int, std::string> cases[] = {{0, plain}, {1, plain + warning}, {2, plain}};
  for (const auto& [debug, page] : cases) {
    settings.remoteDebugEnabled = debug > 0;
    if (debug == 2) settings.runMode = kRunRemoteDebug;
    CaptureStdout out;
    PrintHead(&settings, &env);
    EXPECT_EQ(out.Finish(), page);
  }
}

TEST_F(FrameTest, RangeAndDateOfReportFollowTheDateOrder) {
  ReportStartTime = 915202800;  // 1 Jan 1999 15:00 UTC
  const struct {
    const char* order;
    const char* start;  // "1900" is what no date fields at all give
    const char* range;
  } cases[] = {
      {"DMY", "12151998", ">15/12/1998 - 15/01/1999</td>\n"}, {"DYM", "12151998", ">15/1998/12 - 15/1999/01</td>\n"},
      {"MDY", "12151998", ">12/15/1998 - 01/15/1999</td>\n"}, {"MYD", "12151998", ">12/1998/15 - 01/1999/15</td>\n"},
      {"YDM", "12151998", ">1998/15/12 - 1999/15/01</td>\n"}, {"YMD", "12151998", ">1998/12/15 - 1999/01/15</td>\n"},
      // A short day ends where its text ends, in every order.
      {"DMY", "1900", ">00/19/ - 15/01/1999</td>\n"}, {"DYM", "1900", ">00/ - 15/1999/01</td>\n"},
      {"MDY", "1900", ">19/00/ - 01/15/1999</td>\n"}, {"MYD", "1900", ">19/ - 01/1999/15</td>\n"},
      {"YDM", "1900", "> - 1999/15/01</td>\n"}, {"YMD", "1900", "> - 1999/01/15</td>\n"},
  };
  for (const auto& c : cases) {
    SuperLog_SetDateFormat(c.order, kSourceForm);
    settings.dateStart.set(c.start);
    const std::string page = Header();
    EXPECT_NE(page.find(c.range), std::string::npos) << c.order;
    EXPECT_EQ(page.find('\0'), std::string::npos);
    EXPECT_NE(page.find(strcmp(c.order, "MDY") ? ">01 January 1999 at 15:00 (03:00 PM)</td>\n"
                                               : ">January 01, 1999 at 03:00 PM</td>\n"), std::string::npos) << c.order;
  }
}

TEST_F(FrameTest, OptionalRowsAppearOnlyWhenSet) {
  std::string bare = Header();
  EXPECT_EQ(bare.find("Authenticated"), std::string::npos);
  EXPECT_EQ(bare.find("Ignore Requests"), std::string::npos);
  EXPECT_EQ(bare.find("Omit Requests"), std::string::npos);

  settings.authRealm.set("staff");
  settings.authUser.set("ann");
  settings.filterDomains.set("example.com");
  settings.filterFileTypes.set("gif,jpg");
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

  settings.smartMemoryEnabled = 0;
  EXPECT_EQ(Header().find("Warning:"), std::string::npos);
  gListInfo = ListCatalogue{};
}

TEST_F(FrameTest, FooterShowsMinutesAndSecondsOfTheElapsedTime) {
  CaptureStdout out;
  PrintFooter(&settings, 3725);  // 1 h 2 min 5 s: the hours are dropped
  EXPECT_EQ(out.Finish().rfind("\n\n<p><hr noshade><p>\n\n<font size=\"-1\">Time required to "
                               "generate report = 02:05 (minutes:seconds).<br>\n",
                               0),
            0u);
}

}  // namespace

// The page frame where the golden pages show one case of several: the
// remote-debugging warning, the six date orders, optional rows.
#include <cstring>
#include <string>
#include <tuple>

#include "support/fixtures.h"

namespace {

template <typename Print>
std::string Captured(Print print) {
  testing_support::CaptureStdout out;
  print();
  return out.Finish();
}

class FrameTest : public SettingsTest {
 protected:
  std::string Header() { return Captured([&] { DisplayHeader(&settings, 0, 0, 0); }); }
};

TEST_F(FrameTest, HeadWarnsAboutRemoteDebuggingExceptOnItsOwnPageAndFooterDropsHours) {
  const std::string warning = "<body bgcolor=\"#FFFFFF\" text=\"#000000\">\n<b><blink>Warning!  Remote debugging is enabled!";
  for (int debug : {0, 1, 2}) {
    settings.remoteDebugEnabled = debug > 0;
    if (debug == 2) settings.runMode = kRunRemoteDebug;
    EXPECT_EQ(Captured([&] { PrintHead(&settings, &env); }).find(warning) != std::string::npos, debug == 1) << debug;
  }
  EXPECT_NE(Captured([&] { PrintFooter(&settings, 3725); }).find("generate report = 02:05 (minutes:seconds)"), std::string::npos);
}

// The range in each date order (a short day ends where its text ends; "1900"
// is what no date fields give), the date of the report, and the rows that
// appear only when their setting is given.
TEST_F(FrameTest, RangeFollowsTheDateOrderAndOptionalRowsAppearWhenSet) {
  ReportDefaults();
  settings.dateEnd.set("01151999");
  ReportStartTime = 915202800;  // 1 Jan 1999 15:00 UTC
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"DMY", "12151998", ">15/12/1998 - 15/01/1999</td>\n"}, {"DYM", "12151998", ">15/1998/12 - 15/1999/01</td>\n"},
      {"MDY", "12151998", ">12/15/1998 - 01/15/1999</td>\n"}, {"MYD", "12151998", ">12/1998/15 - 01/1999/15</td>\n"},
      {"YDM", "12151998", ">1998/15/12 - 1999/15/01</td>\n"}, {"YMD", "12151998", ">1998/12/15 - 1999/01/15</td>\n"},
      {"DMY", "1900", ">00/19/ - 15/01/1999</td>\n"}, {"MYD", "1900", ">19/ - 01/1999/15</td>\n"}, {"YDM", "1900", "> - 1999/15/01</td>\n"},
  };
  for (const auto& [order, start, range] : cases) {
    SuperLog_SetDateFormat(order, kSourceForm);
    settings.dateStart.set(start);
    const std::string page = Header();
    EXPECT_NE(page.find(range), std::string::npos) << order;
    EXPECT_EQ(page.find('\0'), std::string::npos);
    EXPECT_NE(page.find(strcmp(order, "MDY") ? ">01 January 1999 at 15:00 (03:00 PM)</td>\n"
                                             : ">January 01, 1999 at 03:00 PM</td>\n"), std::string::npos) << order;
    EXPECT_EQ(page.find("Authenticated"), std::string::npos);
  }
  settings.authRealm.set("staff");
  settings.authUser.set("ann");
  settings.filterDomains.set("example.com");
  settings.filterFileTypes.set("gif,jpg");
  const std::string row = "<tr>\n<td width=\"50%\"><b>";
  EXPECT_NE(Header().find(row + "For Authenticated Realm:</b></td><td width=\"50%\">staff</td></tr>\n" +
                          row + "For Authenticated User:</b></td><td width=\"50%\">ann</td></tr>\n" +
                          row + "Ignore Requests from Domains:</b></td><td width=\"50%\">example.com</td></tr>\n" +
                          row + "Omit Requests for Files with Extensions:</b></td><td width=\"50%\">gif,jpg</td></tr>\n" +
                          row + "Date of Report:</b>"),
            std::string::npos);
}

}  // namespace

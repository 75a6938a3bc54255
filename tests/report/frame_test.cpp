// The page header where the golden pages show one case of several: the six
// date orders and the optional rows.
#include <cstring>
#include <string>
#include <tuple>

#include "support/fixtures.h"

namespace {

class FrameTest : public SettingsTest {
 protected:
  std::string Header() {
    testing_support::CaptureStdout out;
    DisplayHeader(&settings, 0, 0, 0);
    return out.Finish();
  }
};

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
  settings.authRealm.set("staff"), settings.authUser.set("ann");
  settings.filterDomains.set("example.com"), settings.filterFileTypes.set("gif,jpg");
  const std::string row = "<tr>\n<td width=\"50%\"><b>";
  EXPECT_NE(Header().find(row + "For Authenticated Realm:</b></td><td width=\"50%\">staff</td></tr>\n" +
                          row + "For Authenticated User:</b></td><td width=\"50%\">ann</td></tr>\n" +
                          row + "Ignore Requests from Domains:</b></td><td width=\"50%\">example.com</td></tr>\n" +
                          row + "Omit Requests for Files with Extensions:</b></td><td width=\"50%\">gif,jpg</td></tr>\n" +
                          row + "Date of Report:</b>"),
            std::string::npos);
}

}  // namespace

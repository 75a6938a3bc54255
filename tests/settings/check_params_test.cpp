#include "settings/check_params.h"

#include <gtest/gtest.h>

#include <string>

#include "driver/run_in_child.h"
#include "settings/settings_fixture.h"

namespace {

TEST(StrToYear4, TwoDigitThreeDigitAndFourDigitYears) {
  EXPECT_EQ(StrToYear4(nullptr, 1950), 1950);
  EXPECT_EQ(StrToYear4("", 1950), 1950);
  EXPECT_EQ(StrToYear4("99", 1950), 1999);
  EXPECT_EQ(StrToYear4("00", 1950), 1900);
  EXPECT_EQ(StrToYear4("0", 1950), 1900);
  EXPECT_EQ(StrToYear4("100", 1950), 2000);
  EXPECT_EQ(StrToYear4("138", 1950), 2038);
  EXPECT_EQ(StrToYear4("139", 1950), 1950);
  EXPECT_EQ(StrToYear4("1899", 1950), 1950);
  EXPECT_EQ(StrToYear4("1900", 1950), 1900);
  EXPECT_EQ(StrToYear4("2038", 1950), 2038);
  EXPECT_EQ(StrToYear4("2039", 1950), 1950);
  EXPECT_EQ(StrToYear4("-5", 1950), 1950);
  EXPECT_EQ(StrToYear4("abc", 1950), 1900);  // atoi gives 0
}

TEST(MakeMaxName, PadsMonthAndDayAndNeverOverruns) {
  char out[12];
  MakeMaxName(out, sizeof out, 1, 5, 1999);
  EXPECT_STREQ(out, "19990105");
  MakeMaxName(out, sizeof out, 12, 31, 2038);
  EXPECT_STREQ(out, "20381231");
  MakeMaxName(out, sizeof out, 19, 0, 0);
  EXPECT_STREQ(out, "01900");
  char guarded[16];
  memset(guarded, 'Z', sizeof guarded);
  MakeMaxName(guarded, 12, 12, 31, 2147483647);
  EXPECT_EQ(strlen(guarded), 11u);
  EXPECT_EQ(guarded[12], 'Z');
}

class CheckParamsTest : public SettingsTest {
 protected:
  // A request that CheckParams accepts, before the case's own words.
  void Valid() {
    Ini("url=http://example.org/");
    Ini("logs=/var/log/*.log");
  }
  front_test::ChildResult Check() {
    return front_test::RunInChild([&] { CheckParams(&env, &settings); });
  }
};

TEST_F(CheckParamsTest, StartFieldsAloneMakeAOneDayReport) {
  Valid();
  Form("sm=01");
  Form("sd=15");
  Form("sy=99");
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.dateStart.c_str(), "01151999");
  EXPECT_STREQ(settings.dateEnd.c_str(), "01151999");
  EXPECT_STREQ(settings.title.c_str(), "Web Site Analysis");
  EXPECT_STREQ(settings.find.c_str(), "/");
}

TEST_F(CheckParamsTest, NoDatesAtAllGiveYear1900OnBothEnds) {
  Valid();
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.dateStart.c_str(), "1900");
  EXPECT_STREQ(settings.dateEnd.c_str(), "1900");
  int sm, sd, sy, em, ed, ey;
  ParseDate(&sm, &sd, &sy, &em, &ed, &ey, &settings);
  EXPECT_EQ(sm, 19);
  EXPECT_EQ(sd, 0);
  EXPECT_EQ(sy, 0);
}

TEST_F(CheckParamsTest, WholeEndDateNeedsMonthDayAndYear) {
  Valid();
  for (const char* w : {"sm=12", "sd=01", "sy=1998", "em=01", "ed=31", "ey=1999"}) Form(w);
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.dateStart.c_str(), "12011998");
  EXPECT_STREQ(settings.dateEnd.c_str(), "01311999");

  Reset();
  Valid();
  for (const char* w : {"sm=12", "sd=01", "sy=1998", "em=01", "ed=31"}) Form(w);
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.dateEnd.c_str(), "12011998");
}

TEST_F(CheckParamsTest, OneDigitMonthIsReadAsTheFieldsSay) {
  Valid();
  for (const char* w : {"sm=1", "sd=15", "sy=1999"}) Form(w);
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.dateStart.c_str(), "1151999");
  int sm, sd, sy, em, ed, ey;
  ParseDate(&sm, &sd, &sy, &em, &ed, &ey, &settings);
  EXPECT_EQ(sm, 11);
  EXPECT_EQ(sd, 51);
  EXPECT_EQ(sy, 999);
}

TEST_F(CheckParamsTest, MissingUrlComesBeforeMissingLogs) {
  auto r = Check();
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_NE(r.out.find("Loglantern Error #4: User account is missing the 'URL' parameter"),
            std::string::npos);

  Ini("url=http://x");
  r = Check();
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_NE(r.out.find("Error #5: User account is missing the 'Logs' parameter"),
            std::string::npos);
}

TEST_F(CheckParamsTest, StartAfterEndIsError7AndEqualDatesPass) {
  Valid();
  Form("date=02011999,01011999");
  auto r = Check();
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_NE(r.out.find("Error #7: Invalid date range or format"), std::string::npos);

  Form("date=01011999");  // the end is built from the empty start fields: "1900"
  r = Check();
  EXPECT_NE(r.out.find("Error #7:"), std::string::npos);

  Form("date=01011999,01011999");
  r = Check();
  EXPECT_EQ(r.out, "");
}

TEST_F(CheckParamsTest, HugeYearsThroughDateDoNotOverrun) {
  Valid();
  Form("date=0101999999999999999,0101999999999999999");
  auto r = Check();
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, "");
  Form("date=0101999999999999999,01011999");
  r = Check();
  EXPECT_NE(r.out.find("Error #7:"), std::string::npos);
}

TEST_F(CheckParamsTest, FindJoinsAccountAndRequest) {
  Valid();
  Ini("find=/users/ann/");
  Form("find=/docs/");
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.find.c_str(), "/users/ann/docs/");

  settings.accountFind.set("/users/ann");
  settings.formFind.set("/docs/");
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.find.c_str(), "/users/ann/docs/");

  settings.accountFind.clear();
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.find.c_str(), "/docs/");

  settings.accountFind.set("/only/");
  settings.formFind.clear();
  CheckParams(&env, &settings);
  EXPECT_STREQ(settings.find.c_str(), "/only/");
}

TEST_F(CheckParamsTest, JoinedFindIsCutInTheRequestsPart) {
  Valid();
  Ini("find=" + std::string(200, 'a'));
  Form("find=" + std::string(100, 'f'));
  CheckParams(&env, &settings);
  EXPECT_EQ(std::string(settings.find.c_str()), std::string(200, 'a') + std::string(43, 'f'));
}

TEST_F(CheckParamsTest, StarRealmAndUserMeanNoRestriction) {
  Valid();
  Ini("authrealm=*");
  Ini("authuser=*");
  CheckParams(&env, &settings);
  EXPECT_TRUE(settings.authRealm.empty());
  EXPECT_TRUE(settings.authUser.empty());
}

TEST_F(CheckParamsTest, DebugFromTheRequestNeedsRemoteDebugging) {
  Valid();
  Form("debug=1");
  CheckParams(&env, &settings);
  EXPECT_EQ(settings.debug, 0);

  Reset();
  Valid();
  Form("debug=1");
  settings.remoteDebugEnabled = 1;
  CheckParams(&env, &settings);
  EXPECT_EQ(settings.debug, 1);

  Reset();
  Valid();
  Ini("debug=1");
  CheckParams(&env, &settings);
  EXPECT_EQ(settings.debug, 1);
}

}  // namespace

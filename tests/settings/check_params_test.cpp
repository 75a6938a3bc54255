#include "settings/check_params.h"

#include <string>
#include <vector>

#include "support/fixtures.h"

namespace {

TEST(DateTexts, YearsAreWidenedAndMaxNamesPadded) {
  const std::pair<const char*, int> years[] = {{nullptr, 1950}, {"", 1950}, {"99", 1999}, {"0", 1900}, {"138", 2038},
                                               {"139", 1950}, {"1899", 1950}, {"1900", 1900}, {"2038", 2038},
                                               {"2039", 1950}, {"-5", 1950}, {"abc", 1900}};  // atoi gives 0
  for (const auto& [text, year] : years) EXPECT_EQ(StrToYear4(text, 1950), year) << (text ? text : "null");
  const std::tuple<int, int, int, const char*> names[] = {
      {1, 5, 1999, "19990105"}, {10, 10, 1999, "19991010"}, {9, 9, 1999, "19990909"}, {12, 31, 2147483647, "21474836471"}};
  for (const auto& [month, day, year, name] : names) {
    char out[16];
    memset(out, 'Z', sizeof out);
    MakeMaxName(out, 12, month, day, year);
    EXPECT_STREQ(out, name);
    EXPECT_EQ(out[12], 'Z');
  }
}

using CheckParamsTest = SettingsTest;

// Words of the configuration ("i:") and of the form ("f:") after an account
// with url and logs, then what CheckParams made of them:
// "start|end|find|debug|realm|user" (the refusals are shown by their pages).
TEST_F(CheckParamsTest, DatesFindRealmUserAndDebugAreCompleted) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "1900|1900|/|0||"},
      {{"f:sm=1", "f:sd=15", "f:sy=99", "f:em=01", "f:ed=31"}, "1151999|1151999|/|0||"},  // no whole end: one day
      {{"f:sm=12", "f:sd=01", "f:sy=1998", "f:em=01", "f:ed=31", "f:ey=1999"}, "12011998|01311999|/|0||"},
      {{"f:date=0101999999999999999,0101999999999999999"}, "0101999999999999999|0101999999999999999|/|0||"},
      {{"i:find=/users/ann/", "f:find=/docs/"}, "1900|1900|/users/ann/docs/|0||"},
      {{"i:find=/users/ann", "f:find=docs/"}, "1900|1900|/users/anndocs/|0||"},
      {{"i:find=" + std::string(200, 'a'), "f:find=" + std::string(100, 'f')},
       "1900|1900|" + std::string(200, 'a') + std::string(43, 'f') + "|0||"},
      {{"i:authrealm=*", "i:authuser=ann"}, "1900|1900|/|0||ann"},
      {{"i:authrealm=staff", "i:authuser=*"}, "1900|1900|/|0|staff|"},
      {{"f:debug=1"}, "1900|1900|/|0||"},  // the request alone may not ask for debugging
      {{"i:remotedebug=1", "f:debug=1"}, "1900|1900|/|1||"},
  };
  for (const auto& [words, result] : cases) {
    Reset();
    Ini("url=http://example.org/"), Ini("logs=/var/log/*.log");
    for (const std::string& word : words) {
      if (word == "i:remotedebug=1") settings.remoteDebugEnabled = 1;
      else if (word[0] == 'i') Ini(word.substr(2));
      else Form(word.substr(2));
    }
    CheckParams(&env, &settings);
    EXPECT_EQ(std::string(settings.dateStart.c_str()) + "|" + settings.dateEnd.c_str() + "|" + settings.find.c_str() + "|" +
                  std::to_string(settings.debug) + "|" + settings.authRealm.c_str() + "|" + settings.authUser.c_str(),
              result);
  }
}

}  // namespace

#include "report/errors.h"

#include "support/fixtures.h"

namespace {

class ErrorPageTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    settings.configFile.set("/etc/ll.conf");
    settings.userPasswords.set("/etc/ll.pw");
    settings.username.set("ann");
    settings.logs.set("/var/log/old*.log");
  }
  std::string Raise(int number) { return front_test::RunInChild([&] { ServerError(number, &env, &settings); }).out; }
};

// Each number's heading and the texts that carry inserted values (0 is
// error 11 with an access log as well).
TEST_F(ErrorPageTest, EveryNumberHasItsHeadingAndInsertedValues) {
  env.SERVER_ADMIN.set("webmaster@localhost");
  const std::pair<int, std::vector<std::string>> cases[] = {
      {1, {"<title>Loglantern: Error #1</title>", "No form data posted</h2>", "(<a href=\"mailto:webmaster@localhost\">"}},
      {2, {"Invalid user account name and/or password</h2>"}},
      {4, {"User account is missing the 'URL' parameter</h2>", "Edit the Loglantern configuration file"}},
      {5, {"User account is missing the 'Logs' parameter</h2>"}},
      {6, {"No start date specified</h2>\n\n<b>Description: </b>No start date for the report date range was specified."}},
      {7, {"Invalid date range or format</h2>"}},
      {8, {"No end date specified</h2>"}},
      {9, {"The configuration file (/etc/ll.conf) could not be opened.  This file is required for proper operation"}},
      {10, {"The passwords file (/etc/ll.pw) could not be opened.  This file is required for validation of user \"ann\".<p>\n\n",
            "Loglantern configuration file (/etc/ll.conf).  The presence of an"}},
      {11, {"No log files found</h2>\n\n<b>Description: </b>The \"logs\" parameter (/var/log/old*.log)\ndid not match",
            "for the user account \"<kbd><b>ann</b></kbd>\" in the Loglantern\nconfiguration file"}},
      {0, {"The \"logs\" parameter (/var/log/old*.log)\nand the \"accesslog\" parameter (/var/log/access.log)\n"}},
  };
  for (const auto& [number, texts] : cases) {
    if (number == 0) settings.accessLog.set("/var/log/access.log");
    const std::string page = Raise(number ? number : 11);
    for (const std::string& text : texts) EXPECT_NE(page.find(text), std::string::npos) << number << ": " << text;
    EXPECT_EQ(page.substr(page.size() - 16), "</body>\n</html>\n");
  }
}

}  // namespace

#include "report/errors.h"

#include <regex>
#include <string>

#include "support/fixtures.h"

namespace {

using front_test::RunInChild;
using testing_support::ReadFile;
using testing_support::TempDir;

class ErrorPageTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    settings.configFile.set("/etc/ll.conf");
    settings.userPasswords.set("/etc/ll.pw");
    settings.username.set("ann");
    settings.logs.set("/var/log/old*.log");
  }
  front_test::ChildResult Raise(int number) {
    return RunInChild([&] { ServerError(number, &env, &settings); });
  }
};

TEST_F(ErrorPageTest, Error1IsAWholePageWithTheAdministratorsAddress) {
  env.SERVER_ADMIN.set("webmaster@localhost");
  auto r = Raise(1);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out,
            "<html>\n<head>\n<title>Loglantern: Error #1</title>\n</head>\n\n\n\n\n<body bgcolor=\"#FFFFFF\">\n"
            "<img src=\"/Loglantern/errors/1.gif\" width=283 height=84 alt=\"Loglantern logo\"><p>\n"
            "\n<h2>Loglantern Error #1: No form data posted</h2>\n\n"
            "<b>Description: </b>No form data was provided. (Data must be POSTed via a form.)<p>\n\n"
            "<b>Solution: </b>You generate reports by filling out the Report Request Form (often located "
            "<a href=\"/Loglantern/\">here</a>).<p>\n\n"
            "For more help, you may want to contact the web server administrator (<a "
            "href=\"mailto:webmaster@localhost\">webmaster@localhost</a>) and inform them of the time the error "
            "occured and the steps you took before the error occurred.  You can also find more details at <a "
            "href=\"/Loglantern/manual/errors.html\" target=\"_blank\">/Loglantern/manual/errors.html</a>.<p>\n"
            "<hr><p>\n\n<font size=\"-1\">" + RunInChild([] { PrintCreditLines(); }).out + "\n</body>\n</html>\n");
}

// Each number's heading and the texts that carry inserted values; an unknown
// number writes only the frame, and no administrator leaves no address.
TEST_F(ErrorPageTest, EveryNumberHasItsHeadingAndInsertedValues) {
  const std::string tail = "administrator and inform them";
  const std::pair<int, std::vector<std::string>> cases[] = {
      {1, {"No form data posted</h2>", tail}},
      {2, {"Invalid user account name and/or password</h2>"}},
      {3, {"Error #3: For more help, you may want to contact the web server " + tail}},
      {4, {"User account is missing the 'URL' parameter</h2>"}},
      {5, {"User account is missing the 'Logs' parameter</h2>"}},
      {6, {"No start date specified</h2>\n\n<b>Description: </b>No start date for the report date range was specified."}},
      {7, {"Invalid date range or format</h2>"}},
      {8, {"No end date specified</h2>"}},
      {9, {"Could not open configuration file</h2>",
           "The configuration file (/etc/ll.conf) could not be opened.  This file is required for proper operation"}},
      {10, {"Could not open passwords file</h2>",
            "The passwords file (/etc/ll.pw) could not be opened.  This file is required for validation of user \"ann\".<p>\n\n",
            "Loglantern configuration file (/etc/ll.conf).  The presence of an"}},
      {11, {"No log files found</h2>\n\n<b>Description: </b>The \"logs\" parameter (/var/log/old*.log)\n"
            "did not match any existing files. This can occur if this parameter is\nincorrectly specified",
            "for the user account \"<kbd><b>ann</b></kbd>\" in the Loglantern\n"
            "configuration file specifies at least one existing log file.<p>\n\n"}},
      {12, {"The \"logs\" parameter (/var/log/old*.log)\nand the \"accesslog\" parameter (/var/log/access.log)\n"
            "did not match any existing files. This can occur if these parameters are\nincorrectly"}},
  };
  for (const auto& [number, texts] : cases) {
    if (number == 12) settings.accessLog.set("/var/log/access.log");
    auto r = Raise(number == 12 ? 11 : number);
    EXPECT_EQ(r.exitStatus, 0);
    for (const std::string& text : texts) EXPECT_NE(r.out.find(text), std::string::npos) << number << ": " << text;
    EXPECT_EQ(r.out.substr(r.out.size() - 16), "</body>\n</html>\n");
  }
}

TEST_F(ErrorPageTest, ErrorLogAppendsOneStampedLinePerErrorWithLongValuesWhole) {
  TempDir dir;
  testing_support::WriteFile(dir.file("errors.log"), "earlier\n");
  settings.errorLog.set(dir.file("errors.log").c_str());
  env.REMOTE_HOST.set(std::string(99, 'h').c_str());
  settings.username.set(std::string(99, 'u').c_str());
  Raise(2);
  Raise(1);
  settings.configFile.set("x.conf");
  Raise(9);
  std::regex lines("earlier\n\\[\\d\\d/[A-Z][a-z][a-z]/\\d{4}:\\d\\d:\\d\\d:\\d\\d\\] Unauthorized access from '" +
                   std::string(99, 'h') + "' with username='" + std::string(99, 'u') +
                   "'\n\\[[^\\]]+\\] No form data posted\\.\n\\[[^\\]]+\\] Could not open configuration file x\\.conf\n");
  EXPECT_TRUE(std::regex_match(ReadFile(dir.file("errors.log")), lines)) << ReadFile(dir.file("errors.log"));
  // An error log that cannot be written leaves no file, and the page whole.
  settings.errorLog.set(dir.file("no/such/errors.log").c_str());
  auto r = Raise(4);
  EXPECT_EQ(r.out.substr(r.out.size() - 16), "</body>\n</html>\n");
  EXPECT_FALSE(testing_support::FileExists(dir.file("no")));
}

}  // namespace

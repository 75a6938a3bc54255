#include "report/errors.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "cgi/cgi_env.h"
#include "driver/run_in_child.h"
#include "report/frame.h"
#include "settings/stats_fields.h"
#include "support/test_support.h"

namespace {

using front_test::RunInChild;
using testing_support::ReadFile;
using testing_support::TempDir;

std::string CreditLines() {
  return RunInChild([] { PrintCreditLines(); }).out;
}

class ErrorPageTest : public ::testing::Test {
 protected:
  void SetUp() override { initialize(&settings, &env); }

  front_test::ChildResult Raise(int number) {
    return RunInChild([&] { ServerError(number, &env, &settings); });
  }

  static std::string Head(int number) {
    std::string n = std::to_string(number);
    return "<html>\n<head>\n<title>Loglantern: Error #" + n +
           "</title>\n</head>\n\n\n\n\n<body bgcolor=\"#FFFFFF\">\n"
           "<img src=\"/Loglantern/errors/" + n +
           ".gif\" width=283 height=84 alt=\"Loglantern logo\"><p>\n"
           "\n<h2>Loglantern Error #" + n + ": ";
  }

  static std::string Tail(const std::string& admin) {
    std::string mail = admin.empty()
                           ? ""
                           : " (<a href=\"mailto:" + admin + "\">" + admin + "</a>)";
    return "For more help, you may want to contact the web server administrator" + mail +
           " and inform them of the time the error occured and the steps you took before the"
           " error occurred.  You can also find more details at <a"
           " href=\"/Loglantern/manual/errors.html\" target=\"_blank\">"
           "/Loglantern/manual/errors.html</a>.<p>\n<hr><p>\n\n<font size=\"-1\">" +
           CreditLines() + "\n</body>\n</html>\n";
  }

  StatsFields settings;
  CgiEnv env;
};

TEST_F(ErrorPageTest, Error1IsAWholePageWithTheAdministratorsAddress) {
  env.SERVER_ADMIN.set("webmaster@localhost");
  auto r = Raise(1);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, Head(1) +
                       "No form data posted</h2>\n\n"
                       "<b>Description: </b>No form data was provided. (Data must be POSTed via"
                       " a form.)<p>\n\n"
                       "<b>Solution: </b>You generate reports by filling out the Report Request"
                       " Form (often located <a href=\"/Loglantern/\">here</a>).<p>\n\n" +
                       Tail("webmaster@localhost"));
}

TEST_F(ErrorPageTest, ContactLineWithoutAdministratorRunsStraightOn) {
  auto r = Raise(6);
  EXPECT_EQ(r.out, Head(6) +
                       "No start date specified</h2>\n\n"
                       "<b>Description: </b>No start date for the report date range was"
                       " specified.<p>\n\n"
                       "<b>Solution: </b>Specify a valid start date.  The date range is usually"
                       " specified in the Loglantern Report Request Form, but can be specified"
                       " in the Loglantern configuration file instead.<p>\n\n" +
                       Tail(""));
}

TEST_F(ErrorPageTest, EveryKnownNumberHasItsHeading) {
  const std::pair<int, const char*> headings[] = {
      {1, "No form data posted</h2>"},
      {2, "Invalid user account name and/or password</h2>"},
      {4, "User account is missing the 'URL' parameter</h2>"},
      {5, "User account is missing the 'Logs' parameter</h2>"},
      {6, "No start date specified</h2>"},
      {7, "Invalid date range or format</h2>"},
      {8, "No end date specified</h2>"},
      {9, "Could not open configuration file</h2>"},
      {10, "Could not open passwords file</h2>"},
      {11, "No log files found</h2>"},
  };
  for (const auto& [number, heading] : headings) {
    SCOPED_TRACE(number);
    auto r = Raise(number);
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_EQ(r.out.rfind(Head(number) + heading, 0), 0u);
    EXPECT_NE(r.out.find("<b>Description: </b>"), std::string::npos);
    EXPECT_EQ(r.out.substr(r.out.size() - Tail("").size()), Tail(""));
  }
}

TEST_F(ErrorPageTest, UnknownNumberWritesOnlyTheFrame) {
  auto r = Raise(3);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, Head(3) + Tail(""));
}

TEST_F(ErrorPageTest, InsertedValuesAppearInTheirTexts) {
  settings.configFile.set("/etc/ll.conf");
  settings.userPasswords.set("/etc/ll.pw");
  settings.username.set("ann");
  auto r9 = Raise(9);
  EXPECT_NE(r9.out.find("<b>Description: </b>The configuration file (/etc/ll.conf) could not be"
                        " opened.  This file is required for proper operation of Loglantern."
                        "<p>\n\n<b>Solution: </b>Make sure that the configuration file is in the"
                        " same directory as the Loglantern program file. Also make sure that"
                        " Loglantern has read access to the file.<p>\n\n"),
            std::string::npos);
  auto r10 = Raise(10);
  EXPECT_NE(r10.out.find("The passwords file (/etc/ll.pw) could not be opened.  This file is"
                         " required for validation of user \"ann\".<p>\n\n"),
            std::string::npos);
  EXPECT_NE(r10.out.find("Loglantern configuration file (/etc/ll.conf).  The presence of an"),
            std::string::npos);
}

TEST_F(ErrorPageTest, Error11WordingDependsOnTheAccessLog) {
  settings.logs.set("/var/log/old*.log");
  settings.username.set("ann");
  std::string common =
      "incorrectly specified or if the log files have been moved or deleted.<p>\n\n"
      "<b>Solution:</b>The Loglantern administrator at this site should make sure that the\n"
      "\"logs\" parameter for the user account \"<kbd><b>ann</b></kbd>\" in the Loglantern\n"
      "configuration file specifies at least one existing log file.<p>\n\n"
      "More information on the \"logs\" parameter can be found in Chapter 4 of the"
      "<a href=\"/Loglantern/manual/configuration.html#logs\">\n"
      "Loglantern online documentation</a>.<p>\n\n";
  auto one = Raise(11);
  EXPECT_EQ(one.out, Head(11) + "No log files found</h2>\n\n" +
                         "<b>Description: </b>The \"logs\" parameter (/var/log/old*.log)\n"
                         "did not match any existing files. This can occur if this parameter"
                         " is\n" + common + Tail(""));
  settings.accessLog.set("/var/log/access.log");
  auto two = Raise(11);
  EXPECT_NE(two.out.find("The \"logs\" parameter (/var/log/old*.log)\n"
                         "and the \"accesslog\" parameter (/var/log/access.log)\n"
                         "did not match any existing files. This can occur if these parameters"
                         " are\n" + common),
            std::string::npos);
}

TEST_F(ErrorPageTest, ErrorLogGetsOneStampedLinePerError) {
  TempDir dir;
  settings.errorLog.set(dir.file("errors.log").c_str());
  env.REMOTE_HOST.set("client.example");
  settings.username.set("mallory");
  Raise(2);
  Raise(1);
  settings.configFile.set("x.conf");
  Raise(9);
  std::string log = ReadFile(dir.file("errors.log"));
  std::regex lines(
      "\\[\\d\\d/[A-Z][a-z][a-z]/\\d{4}:\\d\\d:\\d\\d:\\d\\d\\] "
      "Unauthorized access from 'client.example' with username='mallory'\n"
      "\\[[^\\]]+\\] No form data posted\\.\n"
      "\\[[^\\]]+\\] Could not open configuration file x\\.conf\n");
  EXPECT_TRUE(std::regex_match(log, lines)) << log;
}

TEST_F(ErrorPageTest, NoErrorLogConfiguredOrUnwritableWritesNoFileButThePage) {
  TempDir dir;
  auto r = Raise(4);
  EXPECT_NE(r.out.find("Error #4"), std::string::npos);
  settings.errorLog.set(dir.file("no/such/folder/errors.log").c_str());
  r = Raise(4);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_NE(r.out.find("</html>\n"), std::string::npos);
  EXPECT_FALSE(testing_support::FileExists(dir.file("no")));
}

TEST_F(ErrorPageTest, LongValuesAreWrittenWhole) {
  TempDir dir;
  settings.errorLog.set(dir.file("errors.log").c_str());
  env.REMOTE_HOST.set(std::string(99, 'h').c_str());
  settings.username.set(std::string(99, 'u').c_str());
  Raise(2);
  std::string log = ReadFile(dir.file("errors.log"));
  EXPECT_NE(log.find("from '" + std::string(99, 'h') + "' with username='" +
                     std::string(99, 'u') + "'\n"),
            std::string::npos);
}

TEST(LogError, AppendsAndKeepsEarlierLines) {
  TempDir dir;
  StatsFields settings;
  CgiEnv env;
  initialize(&settings, &env);
  settings.errorLog.set(dir.file("e.log").c_str());
  testing_support::WriteFile(dir.file("e.log"), "earlier\n");
  LogError(&settings, "second");
  std::string log = ReadFile(dir.file("e.log"));
  EXPECT_EQ(log.rfind("earlier\n[", 0), 0u);
  EXPECT_NE(log.find("] second\n"), std::string::npos);
}

}  // namespace

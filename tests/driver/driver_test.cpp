// The whole program, run as a shell command and as a CGI program.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "driver/run_in_child.h"
#include "report/info_pages.h"
#include "support/test_support.h"

namespace {

using testing_support::ReadFile;
using testing_support::RunLoglantern;
using testing_support::RunResult;
using testing_support::TempDir;
using testing_support::WriteFile;

const std::string kHeader =
    "Content-type: text/html\n"
    "Content-Security-Policy: default-src 'none'; img-src 'self'; style-src 'self'; "
    "form-action 'self'; base-uri 'self'; frame-ancestors 'none'; sandbox allow-forms "
    "allow-same-origin allow-popups allow-popups-to-escape-sandbox\n"
    "X-Content-Type-Options: nosniff\nReferrer-Policy: no-referrer\n\n";

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.rfind(prefix, 0) == 0;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class DriverTest : public ::testing::Test {
 protected:
  // A POSTed form, as a web server hands it over.
  RunResult Post(const std::string& body, std::map<std::string, std::string> extra = {}) {
    extra.emplace("REQUEST_METHOD", "POST");
    extra.emplace("CONTENT_LENGTH", std::to_string(body.size()));
    extra.emplace("CONTENT_TYPE", "application/x-www-form-urlencoded");
    return RunLoglantern({}, extra, body, dir.path());
  }
  RunResult Get(const std::string& query, const std::string& method = "GET") {
    return RunLoglantern({}, {{"REQUEST_METHOD", method}, {"QUERY_STRING", query}}, "",
                         dir.path());
  }
  RunResult Shell(const std::vector<std::string>& args) {
    return RunLoglantern(args, {}, "", dir.path());
  }
  void Config(const std::string& text) { WriteFile(dir.file("loglantern.conf"), text); }

  TempDir dir;
};

TEST_F(DriverTest, NoArgumentsPrintsTheUsageTextWithoutHeader) {
  RunResult r = Shell({});
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, front_test::RunInChild([] { CommandLineHelp(); }).out);
  EXPECT_TRUE(StartsWith(r.out, "Loglantern 1.4.3\n\nSyntax: loglantern param1="));
}

TEST_F(DriverTest, AboutWordFromAShellIsPlainTextInAnyCase) {
  for (const char* word : {"about", "ABOUT", "About"}) {
    RunResult r = Shell({word});
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_TRUE(StartsWith(r.out, "\nLoglantern 1.4.3 build 43\n")) << r.out;
    EXPECT_TRUE(Contains(r.out, "To view program credits type:  " +
                                    testing_support::BinaryPath()));
    EXPECT_FALSE(Contains(r.out, "<"));
  }
}

TEST_F(DriverTest, CreditsFromAShellNeedNoConfiguration) {
  RunResult r = Shell({"credits"});
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_TRUE(StartsWith(r.out, "\nLoglantern 1.4.3: Credits\n  Developers\n"));
}

TEST_F(DriverTest, InformationWordInTheQueryStringSelectsItsPage) {
  RunResult about = Get("About");
  EXPECT_EQ(about.exitStatus, 0);
  EXPECT_TRUE(StartsWith(about.out, kHeader + "<html>\n<head>\n<title>About Loglantern"));
  RunResult credits = Get("credits");
  EXPECT_TRUE(StartsWith(credits.out, kHeader + "<html>\n\n<head>\n<title>Loglantern: Credits"));
}

TEST_F(DriverTest, GetWithoutAnInformationWordIsError1) {
  for (const char* method : {"GET", "get"}) {
    RunResult r = Get("", method);
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_TRUE(StartsWith(r.out, kHeader + "<html>\n<head>\n<title>Loglantern: Error #1"));
    EXPECT_TRUE(Contains(r.out, "No form data posted</h2>"));
  }
  EXPECT_TRUE(Contains(Get("report=1").out, "Error #1:"));
}

TEST_F(DriverTest, MissingConfigurationIsError9ForReportsAndRemoteDebugging) {
  RunResult r = Post("username=ann");
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_TRUE(StartsWith(r.out, kHeader));
  EXPECT_TRUE(Contains(r.out, "Error #9: Could not open configuration file</h2>"));
  EXPECT_TRUE(Contains(Get("remotedebug").out, "Error #9:"));
}

TEST_F(DriverTest, PostedFieldsAreDecodedBeforeTheKeywordTable) {
  RunResult r = Post("username=x&config=my+site%21.conf");
  EXPECT_TRUE(Contains(r.out, "The configuration file (my site!.conf) could not be opened"));
}

TEST_F(DriverTest, BodyIsReadOnlyAsFarAsContentLength) {
  Config("user=ann;url=http://h\n");
  // Only "username=ann" is read; the logs field beyond the length never arrives.
  RunResult r = Post("username=ann&logs=x", {{"CONTENT_LENGTH", "12"}});
  EXPECT_TRUE(Contains(r.out, "Error #5:")) << r.out;
}

TEST_F(DriverTest, NegativeOrHugeContentLengthDoesNotBreakTheRun) {
  Config("user=;url=http://h\n");
  RunResult negative = Post("username=ann", {{"CONTENT_LENGTH", "-40"}});
  EXPECT_EQ(negative.exitStatus, 0);
  EXPECT_TRUE(Contains(negative.out, "Error #5:"));  // no body: the account with no name
  RunResult huge = Post("username=ann", {{"CONTENT_LENGTH", "99999999"}});
  EXPECT_EQ(huge.exitStatus, 0);
  EXPECT_TRUE(Contains(huge.out, "Error #5:"));  // too long a body: none at all
}

TEST_F(DriverTest, UnknownAccountIsError2AndIsLogged) {
  Config("ErrorLog=errors.log\nuser=ann;url=http://h;logs=/x\n");
  RunResult r = Post("username=bob", {{"REMOTE_HOST", "client.example"}});
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_TRUE(Contains(r.out, "Error #2: Invalid user account name and/or password</h2>"));
  std::string log = ReadFile(dir.file("errors.log"));
  EXPECT_TRUE(Contains(log, "] Unauthorized access from 'client.example' with username='bob'\n"))
      << log;
}

TEST_F(DriverTest, NoErrorLogKeyWritesNoLog) {
  Config("user=ann;url=http://h;logs=/x\n");
  Post("username=bob");
  EXPECT_FALSE(testing_support::FileExists(dir.file("errors.log")));
}

TEST_F(DriverTest, MissingUrlThenMissingLogs) {
  Config("user=ann;password=*\n");
  EXPECT_TRUE(Contains(Post("username=ann").out, "Error #4:"));
  Config("user=ann;password=*;url=http://h\n");
  EXPECT_TRUE(Contains(Post("username=ann").out, "Error #5:"));
}

TEST_F(DriverTest, BadDateRangeIsError7) {
  Config("user=ann;password=*;url=http://h;logs=/nowhere/*.log\n");
  RunResult r = Post("username=ann&date=02011999%2C01011999");
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_TRUE(Contains(r.out, "Error #7: Invalid date range or format</h2>"));
}

TEST_F(DriverTest, CommandLineWordsReachTheKeywordTableWithoutHeader) {
  Config("user=ann;password=*;url=http://h\n");
  RunResult r = Shell({"username=ann", "date=01011999,01311999"});
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_TRUE(StartsWith(r.out, "<html>\n<head>\n<title>Loglantern: Error #5"));
  // Form-only words cannot choose the logs an account may read.
  r = Shell({"username=ann", "logs=/etc/*"});
  EXPECT_TRUE(Contains(r.out, "Error #5:"));
}

TEST_F(DriverTest, RemoteDebuggingShowsTheFileOnlyWhenEnabled) {
  Config("user=ann;password=secret\n");
  RunResult off = Get("remotedebug");
  EXPECT_EQ(off.out, kHeader +
                         "<html>\n<head>\n<title>Loglantern 1.4.3: Remote Debugging</title>\n"
                         "</head>\n\n\n\n\n<body>\nRemote debugging not enabled.<p>\n");
  Config("RemoteDebugEnabled=1\nuser=ann;password=secret\n");
  RunResult on = Get("REMOTEDEBUG");
  EXPECT_TRUE(Contains(on.out, "Configuration filename=loglantern.conf<p>\n"
                               "File opened successfully; data follows immediately:<p>\n\n"
                               "RemoteDebugEnabled=1\nuser=ann;password=secret\n"
                               "\nEnd of file.\n</body>\n</html>\n"));
  RunResult shell = Shell({"remotedebug"});
  EXPECT_TRUE(StartsWith(shell.out, "<html>\n<head>\n<title>Loglantern 1.4.3: Remote"));
}

TEST_F(DriverTest, LongFormValuesNeverOverrun) {
  Config("user=;url=http://h\n");
  std::string body = "title=" + std::string(100000, 'x') + "&" + std::string(3000, 'n') + "=" +
                     std::string(3000, 'v') + "&base=" + std::string(5000, 'b');
  RunResult r = Post(body);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_TRUE(Contains(r.out, "Error #5:"));
}

}  // namespace

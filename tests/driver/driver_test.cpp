// The whole program, run as a shell command and as a CGI program.
#include <gtest/gtest.h>

#include <sys/utsname.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace {

using testing_support::RunLoglantern;
using testing_support::TempDir;

// How the request arrives: words on a shell's command line, a GET query,
// or a POSTed form with its CGI variables (CONTENT_LENGTH may be replaced).
struct Request {
  char how;  // 'S', 'G' or 'P'
  std::vector<std::string> words = {};
  std::string query = "", body = "";
  std::map<std::string, std::string> env = {};
};

testing_support::RunResult Send(const Request& r, const std::string& dir) {
  if (r.how == 'S') return RunLoglantern(r.words, {}, "", dir);
  if (r.how == 'P') return testing_support::PostToLoglantern(r.body, r.env, dir);
  std::map<std::string, std::string> env = r.env;
  env.emplace("REQUEST_METHOD", "GET");
  env.emplace("QUERY_STRING", r.query);
  return RunLoglantern({}, env, r.body, dir);
}

TEST(Driver, EachWayOfAskingReachesItsPageOrError) {
  const std::string kCgiHeader =
      "Content-type: text/html\n"
      "Content-Security-Policy: default-src 'none'; img-src 'self'; style-src 'self'; "
      "form-action 'self'; base-uri 'self'; frame-ancestors 'none'; sandbox allow-forms "
      "allow-same-origin allow-popups allow-popups-to-escape-sandbox\n"
      "X-Content-Type-Options: nosniff\nReferrer-Policy: no-referrer\n\n";
  const std::string html = kCgiHeader + "<html>\n<head>\n<title>", binary = testing_support::BinaryPath();
  struct utsname u;
  ASSERT_EQ(uname(&u), 0);
  const std::string sys = u.sysname;
  const struct {
    std::string config;  // "" for no configuration file
    Request request;
    std::string start, part, end = "";  // the page starts with start, holds part, ends with end
  } cases[] = {
      {"", {'S', {}}, "Loglantern 1.4.3\n\nSyntax: loglantern param1=", ""},
      // The about and credits pages as plain text in a shell and as HTML under a web server.
      {"", {'S', {"ABOUT"}}, "\nLoglantern 1.4.3 build 43\n    Platform:        \tUNIX\n    Operating system:\t" + sys + "\n    Release:         \t" +
       u.release + "\n", "Copyright (c) 2026 The Loglantern project", "type:  " + binary + " credits\n"},
      {"", {'S', {"credits"}}, "\nLoglantern 1.4.3: Credits\n  Developers\n    - The Loglantern project team: request intake and settings\n",
       "deployment\n  Special thanks to\n    - The Debian project", "test data\n\nTo see version information type: " + binary + " about\n\n"},
      {"", {'G', {}, "About"}, html + "About Loglantern Version 1.4.3</title>\n</head>\n\n\n\n\n<body>\n<h2>Loglantern 1.4.3 build 43</h2>\n"
       "<b>Platform:</b> UNIX<br>\n<b>Operating system:</b> " + sys + "<br>\n<b>Release:</b> " + u.release + "<br>\n<b>Processor:</b> " +
       u.machine + "<br>\n<b>Version:</b> " + u.version + "<br>\n<b>Node:</b> " + u.nodename + "<br>\n",
       "href=\"/Loglantern/manual/#support\"", "?credits\">View program credits</a>\n\n\n</body>\n\n</html>\n"},
      {"", {'G', {}, "credits"}, kCgiHeader + "<html>\n\n<head>\n<title>Loglantern: Credits</title>\n</head>\n\n\n\n\n<body>\n\n"
       "<h2>Loglantern 1.4.3 Credits</h2>\n<b>Developers</b><br>\n<ul>\nThe Loglantern project team: request intake and settings<br>\n",
       "deployment<br>\n</ul><p>\n<b>Special thanks to</b><br>\n<ul>\nThe Debian project",
       "test data<br>\n</ul><p>\n<a href=\"?about\">Version information</a>\n\n</body>\n</html>\n"},
      {"", {'G', {}, ""}, html + "Loglantern: Error #1", "No form data posted</h2>"},
      {"", {'G', {}, "report=1", "", {{"REQUEST_METHOD", "get"}}}, html + "Loglantern: Error #1", ""},
      {"", {'P', {}, "", "username=ann"}, html, "Error #9: Could not open configuration file</h2>"},
      {"", {'P', {}, "", "username=x&config=my+site%21.conf"}, html,
       "The configuration file (my site!.conf) could not be opened"},
      // Only CONTENT_LENGTH bytes are read; a negative one reads nothing.
      {"user=ann;url=http://h\n", {'P', {}, "", "username=ann&logs=x", {{"CONTENT_LENGTH", "12"}}}, html, "Error #5:"},
      {"user=;url=http://h\n", {'P', {}, "", "username=ann", {{"CONTENT_LENGTH", "-40"}}}, html, "Error #5:"},
      {"user=;url=http://h\n", {'P', {}, "", "username=ann", {{"CONTENT_LENGTH", "99999999"}}}, html, "Error #5:"},  // too long: no body,
      {"user=ann;url=http://h;logs=/x\n", {'P', {}, "", "username=bob"}, html,
       "Error #2: Invalid user account name and/or password</h2>"},
      // An error page under remote debugging (the page tests hold the others whole).
      {"RemoteDebugEnabled=1\nuser=ann;password=*;url=http://h;logs=/nowhere/*.log\n", {'S', {"username=ann", "date=01012000,01022000"}},
       "<html>\n<head>\n<title>Web Site Analysis</title>\n</head>\n\n\n\n\n<body bgcolor=\"#FFFFFF\" text=\"#000000\">\n"
       "<b><blink>Warning!  Remote debugging is enabled!", "Error #11: No log files found</h2>\n\n<b>Description: </b>The \"logs\" parameter "
       "(/nowhere/*.log)\ndid not match any existing files. This can occur if this parameter is", "</body>\n</html>\n"},
      {"user=ann;password=*;url=http://h;logs=/x\n", {'S', {"username=ann", "date=01022000,01012000"}}, "<html>\n<head>\n<title>Loglantern: Error #7", ""},
      // Form-only words cannot choose the logs an account may read.
      {"user=ann;password=*;url=http://h\n", {'S', {"username=ann", "logs=/etc/*"}}, "<html>\n<head>\n<title>Loglantern: Error #5", ""},
      {"user=ann\n", {'G', {}, "remotedebug"}, html + "Loglantern 1.4.3: Remote Debugging", "debugging not enabled"},
      // The file is copied in blocks of 2047 bytes: this one ends with a block of one byte.
      {"RemoteDebugEnabled=1\n" + std::string(4072, '#') + "\nx", {'G', {}, "REMOTEDEBUG"}, html,
       "data follows immediately:<p>\n\nRemoteDebugEnabled=1\n" + std::string(4072, '#') + "\nx\nEnd of file.\n</body>\n</html>\n"},
  };
  for (const auto& c : cases) {
    TempDir dir;
    if (!c.config.empty()) testing_support::WriteFile(dir.file("loglantern.conf"), c.config);
    const auto r = Send(c.request, dir.path());
    const std::string what = std::string(1, c.request.how) + " " + c.request.query + c.request.body.substr(0, 40);
    EXPECT_EQ(r.exitStatus, 0) << what;
    EXPECT_EQ(r.out.rfind(c.start, 0), 0u) << what << "\n" << r.out;
    EXPECT_NE(r.out.find(c.part), std::string::npos) << what << "\n" << r.out.substr(0, 300);
    EXPECT_EQ(r.out.substr(r.out.size() - std::min(r.out.size(), c.end.size())), c.end) << what;
    EXPECT_FALSE(testing_support::FileExists(dir.file("errors.log")));  // no ErrorLog key: no log
  }
}

}  // namespace

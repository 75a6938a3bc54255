#include "report/info_pages.h"

#include <sys/utsname.h>

#include <string>

#include "support/fixtures.h"

namespace {

using front_test::RunInChild;

class InfoPageTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    env.SCRIPT_NAME.set("/cgi-bin/loglantern");
  }
};

TEST_F(InfoPageTest, UsageTextByteForByte) {
  auto r = RunInChild([] { CommandLineHelp(); });
  EXPECT_EQ(r.out,
            "Loglantern 1.4.3\n\n"
            "Syntax: loglantern param1=val1[,val2] param2=val1[,val2] ...\n\n"
            "  Required Parameters:\t\t\n\n"
            "   username=\"user\"\t\n"
            "   find=path\t\t\t\t\n"
            "   date=MMDDYYY,MMDDYYYY\n\n"
            "  Reports:\t\t\n\n"
            "   requests=1[,#top[,#greater]] [showquery=1] referrers=1[,#top[,#greater]]\n"
            "   search=1[,#top[,#greater]]                 browsers=1[,#top[,#greater]]\n"
            "   badurls=1[,#top[,#greater]]                badreferrers=1[,#top[,#greater]]\n"
            "   domains=1[,#top[,#greater]]                domaintypes=1[,#top[,#greater]]\n"
            "   hitsperdayofweek=1                         hitsperhour=1\n"
            "   dailytotals=1\t\n\n"
            "  Optional Parameters:\t\t\n\n"
            "   password=\"pwd\"\t\t\n"
            "   filter_domains=domain[,domain[,...]]    filter_filetypes=type[,type[,...]]\n"
            "   find_pattern=1                          find_casesensitive=1 \n"
            "   subdirs=1                               DNSLookupEnabled=1  \n"
            "   AuthRealm=realm                         AuthUser=user\t\t\n"
            "   search_casesensitive=1                  AuthUser=user\t\t\n"
            "\n"
            "Example: \n\n"
            "   loglantern username=sample find=/ subdirs=1 date=01011998,12311998 \n"
            "              requests=1,10 referrers=1,10, search=1,10 > report.htm \n"
            "\n");
}

// The about page as HTML for a web server, or as plain text for a shell.
TEST_F(InfoPageTest, AboutPageShowsTheSystemAndLinksTheCredits) {
  struct utsname u;
  ASSERT_EQ(uname(&u), 0);
  const struct {
    int commandLine;
    const char* script;
    std::string head, middle, tail;
  } cases[] = {
      {0, "/cgi-bin/loglantern",
       "<html>\n<head>\n<title>About Loglantern Version 1.4.3</title>\n</head>\n\n\n\n\n<body>\n"
       "<h2>Loglantern 1.4.3 build 43</h2>\n<b>Platform:</b> UNIX<br>\n<b>Operating system:</b> " + std::string(u.sysname) +
           "<br>\n<b>Release:</b> " + u.release + "<br>\n<b>Processor:</b> " + u.machine + "<br>\n<b>Version:</b> " +
           u.version + "<br>\n<b>Node:</b> " + u.nodename + "<br>\n",
       "href=\"/Loglantern/manual/#support\"", "<a href=\"/cgi-bin/loglantern?credits\">View program credits</a>\n\n\n</body>\n\n</html>\n"},
      {1, "./loglantern",
       "\nLoglantern 1.4.3 build 43\n    Platform:        \tUNIX\n    Operating system:\t" + std::string(u.sysname) +
           "\n    Release:         \t" + u.release + "\n",
       "Copyright (c) 2026 The Loglantern project", "\nTo view program credits type:  ./loglantern credits\n"},
  };
  for (const auto& c : cases) {
    env.commandLine = c.commandLine;
    env.SCRIPT_NAME.set(c.script);
    const std::string page = RunInChild([&] { AboutPage(&settings, &env); }).out;
    EXPECT_EQ(page.rfind(c.head, 0), 0u) << page;
    EXPECT_NE(page.find(c.middle), std::string::npos) << page;
    EXPECT_EQ(page.substr(page.size() - std::min(page.size(), c.tail.size())), c.tail);
    EXPECT_EQ(page.find("mailto:"), std::string::npos);  // support is a page, not an address
    EXPECT_EQ(page.find('<') == std::string::npos, c.commandLine == 1);
  }
}

TEST_F(InfoPageTest, CreditsPageAsHtml) {
  std::string page = RunInChild([&] { CreditsPage(&settings, &env); }).out;
  EXPECT_EQ(page,
            "<html>\n\n<head>\n<title>Loglantern: Credits</title>\n</head>\n\n\n\n\n<body>\n\n"
            "<h2>Loglantern 1.4.3 Credits</h2>\n"
            "<b>Developers</b><br>\n<ul>\n"
            "The Loglantern project team: request intake and settings<br>\n"
            "The Loglantern project team: log reading<br>\n"
            "The Loglantern project team: analysis<br>\n"
            "The Loglantern project team: report pages and web deployment<br>\n"
            "</ul><p>\n"
            "<b>Special thanks to</b><br>\n<ul>\n"
            "The Debian project, for the system and tools we build on<br>\n"
            "The GoogleTest project, for the test framework<br>\n"
            "The publishers of the sample web-server logs in our test data<br>\n"
            "</ul><p>\n"
            "<a href=\"/cgi-bin/loglantern?about\">Version information</a>\n\n"
            "</body>\n</html>\n");
}

TEST_F(InfoPageTest, CreditsPageAsPlainText) {
  env.commandLine = 1;
  env.SCRIPT_NAME.set("ll");
  std::string page = RunInChild([&] { CreditsPage(&settings, &env); }).out;
  EXPECT_EQ(page,
            "\nLoglantern 1.4.3: Credits\n"
            "  Developers\n"
            "    - The Loglantern project team: request intake and settings\n"
            "    - The Loglantern project team: log reading\n"
            "    - The Loglantern project team: analysis\n"
            "    - The Loglantern project team: report pages and web deployment\n"
            "  Special thanks to\n"
            "    - The Debian project, for the system and tools we build on\n"
            "    - The GoogleTest project, for the test framework\n"
            "    - The publishers of the sample web-server logs in our test data\n"
            "\n"
            "To see version information type: ll about\n\n");
}

// The configuration file is copied in blocks of 2047 bytes; this one ends
// with a block of one byte.
TEST_F(InfoPageTest, RemoteDebugShowsTheConfigurationFileExactlyOrSaysWhyNot) {
  testing_support::TempDir dir;
  const std::string content = "user=ann;url=<b>x</b>\r\n" + std::string(4067, 'L') + "\nlast";
  testing_support::WriteFile(dir.file("ll.conf"), content);
  const std::string head = "<html>\n<head>\n<title>Loglantern 1.4.3: Remote Debugging</title>\n</head>\n\n\n\n\n<body>\n";
  const struct {
    int enabled;
    std::string file, page;
  } cases[] = {
      {0, dir.file("ll.conf"), head + "Remote debugging not enabled.<p>\n"},
      {1, "/nonexistent/ll.conf",
       head + "Configuration filename=/nonexistent/ll.conf<p>\nError! Could not open the configuration file!<p>\n"},
      {1, dir.file("ll.conf"),
       head + "Configuration filename=" + dir.file("ll.conf") +
           "<p>\nFile opened successfully; data follows immediately:<p>\n\n" + content + "\nEnd of file.\n</body>\n</html>\n"},
  };
  for (const auto& c : cases) {
    settings.remoteDebugEnabled = c.enabled;
    settings.configFile.set(c.file.c_str());
    EXPECT_EQ(RunInChild([&] { RemoteDebug(&settings, &env); }).out, c.page);
  }
}

}  // namespace

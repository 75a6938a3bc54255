#include "report/info_pages.h"

#include <sys/utsname.h>

#include <string>

#include "support/fixtures.h"

namespace {

class InfoPages : public SettingsTest {};

// The about and credits pages as HTML for a web server or as text for a
// shell, and the remote-debugging page: each row's parts appear in order,
// the first starting the page and the last ending it.
TEST_F(InfoPages, BothFormsOfAboutAndCreditsAndRemoteDebugShowTheirPartsInOrder) {
  struct utsname u;
  ASSERT_EQ(uname(&u), 0);
  testing_support::TempDir dir;
  // Copied in blocks of 2047 bytes: this file ends with a block of one byte.
  const std::string conf = "user=ann;url=<b>x</b>\r\n" + std::string(4067, 'L') + "\nlast";
  testing_support::WriteFile(dir.file("ll.conf"), conf);
  const std::string debugHead = "<html>\n<head>\n<title>Loglantern 1.4.3: Remote Debugging</title>\n</head>\n\n\n\n\n<body>\n";
  const struct {
    char page;  // 'A'bout, 'C'redits, 'R'emote debugging
    int commandLineOrDebug;
    std::string configFile;
    std::vector<std::string> parts;
  } cases[] = {
      {'A', 0, "", {"<html>\n<head>\n<title>About Loglantern Version 1.4.3</title>\n</head>\n\n\n\n\n<body>\n"
                    "<h2>Loglantern 1.4.3 build 43</h2>\n<b>Platform:</b> UNIX<br>\n<b>Operating system:</b> " +
                    std::string(u.sysname) + "<br>\n<b>Release:</b> " + u.release + "<br>\n<b>Processor:</b> " + u.machine +
                    "<br>\n<b>Version:</b> " + u.version + "<br>\n<b>Node:</b> " + u.nodename + "<br>\n",
                    "href=\"/Loglantern/manual/#support\"",
                    "<a href=\"ll?credits\">View program credits</a>\n\n\n</body>\n\n</html>\n"}},
      {'A', 1, "", {"\nLoglantern 1.4.3 build 43\n    Platform:        \tUNIX\n    Operating system:\t" + std::string(u.sysname) +
                    "\n    Release:         \t" + u.release + "\n", "Copyright (c) 2026 The Loglantern project",
                    "\nTo view program credits type:  ll credits\n"}},
      {'C', 0, "", {"<html>\n\n<head>\n<title>Loglantern: Credits</title>\n</head>\n\n\n\n\n<body>\n\n<h2>Loglantern 1.4.3 Credits</h2>\n"
                    "<b>Developers</b><br>\n<ul>\nThe Loglantern project team: request intake and settings<br>\n",
                    "team: report pages and web deployment<br>\n</ul><p>\n<b>Special thanks to</b><br>\n<ul>\nThe Debian project",
                    "in our test data<br>\n</ul><p>\n<a href=\"ll?about\">Version information</a>\n\n</body>\n</html>\n"}},
      {'C', 1, "", {"\nLoglantern 1.4.3: Credits\n  Developers\n    - The Loglantern project team: request intake and settings\n",
                    "web deployment\n  Special thanks to\n    - The Debian project",
                    "in our test data\n\nTo see version information type: ll about\n\n"}},
      {'R', 0, dir.file("ll.conf"), {debugHead + "Remote debugging not enabled.<p>\n"}},
      {'R', 1, "/nonexistent/ll.conf",
       {debugHead + "Configuration filename=/nonexistent/ll.conf<p>\nError! Could not open the configuration file!<p>\n"}},
      {'R', 1, dir.file("ll.conf"), {debugHead + "Configuration filename=" + dir.file("ll.conf") +
                                     "<p>\nFile opened successfully; data follows immediately:<p>\n\n" + conf +
                                     "\nEnd of file.\n</body>\n</html>\n"}},
  };
  env.SCRIPT_NAME.set("ll");
  for (const auto& c : cases) {
    env.commandLine = c.page != 'R' && c.commandLineOrDebug;
    settings.remoteDebugEnabled = c.commandLineOrDebug;
    settings.configFile.set(c.configFile.c_str());
    const std::string page = front_test::RunInChild([&] {
      if (c.page == 'A') AboutPage(&settings, &env);
      if (c.page == 'C') CreditsPage(&settings, &env);
      if (c.page == 'R') RemoteDebug(&settings, &env);
    }).out;
    size_t at = 0;
    for (const std::string& part : c.parts) {
      at = page.find(part, at);
      ASSERT_NE(at, std::string::npos) << c.page << c.commandLineOrDebug << " lacks: " << part << "\n" << page;
    }
    EXPECT_EQ(page.rfind(c.parts.front(), 0), 0u) << page;
    EXPECT_EQ(at + c.parts.back().size(), page.size()) << page;
    EXPECT_EQ(page.find("mailto:"), std::string::npos);  // support is a page, not an address
  }
}

}  // namespace

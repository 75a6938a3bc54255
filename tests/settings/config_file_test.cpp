#include "settings/config_file.h"

#include <unistd.h>

#include <string>

#include "support/fixtures.h"

namespace {

using testing_support::TempDir;
using testing_support::WriteFile;

class ConfigFileTest : public SettingsTest {
 protected:
  int Parse(const std::string& user, const std::string& text) {
    settings.username.set(user.c_str());
    WriteFile(dir.file("site.conf"), text);
    settings.configFile.set(dir.file("site.conf").c_str());
    return ParseConfigFile(&settings, &env);
  }
  TempDir dir;
};

// The user's account line(s) and the global lines, read as
// "matched|title|url|logs|priority|errorLog|imagePath|base".
TEST_F(ConfigFileTest, AccountLinesGlobalLinesLineEndsAndCuts) {
  std::string filler;
  for (int i = 0; i < 2000; ++i) filler += "# filler comment line " + std::to_string(i) + "\n";
  filler += std::string("\0junk=1\n\x01\xff=binary\n", 18);
  std::string title30 = "title=";
  for (int i = 0; i < 30; ++i) title30 += "%user%";
  const std::string u99(99, 'u');
  const struct {
    std::string user, text, result;
  } cases[] = {
      {"JOE", "USER=joe;url=x;logs=/l/*.log\n", "1||x|/l/*.log|0||/loglantern|"},
      {"joe", "user=joe\n", "0||||0||/loglantern|"},
      {"joe", "user=jo;url=a\n", "0||||0||/loglantern|"},
      {"jo", "user=joe;url=a\n", "0||||0||/loglantern|"},
      {"", "user=;url=anonymous\n", "1||anonymous||0||/loglantern|"},
      {"ann", "user=ann;logs=/home/%user%/%user%-*.log;title=%user%%user%\n", "1|annann||/home/ann/ann-*.log|0||/loglantern|"},
      {u99, "user=" + u99 + ";" + title30 + "\n", "1|" + std::string(237, 'u') + "|||0||/loglantern|"},
      // Smart parsing before the account stops right after it; after it, at its own line.
      {"a", "SmartParsing=1\nuser=a;title=first\nPriority=3\nuser=a;title=second\n", "1|first|||0||/loglantern|"},
      {"a", "user=a;title=first\nPriority=3\nSmartParsing=1\nPriority=4\nuser=a;title=x\n", "1|first|||3||/loglantern|"},
      {"a", "user=a;title=first;url=u\nuser=b;title=other\nuser=A;title=second\n", "1|second|u||0||/loglantern|"},
      {"a", "Priority=2\r\nuser=a;title=T;url=U\r\nErrorLog=/e\r\n", "1|T|U||2|/e|/loglantern|"},
      {"a", "Priority=2\ruser=a;title=T;url=U\rErrorLog=/e\r", "1|T|U||2|/e|/loglantern|"},
      {"a", "Priority=2\n\n\r\nuser=a;title=T\n\n\r\nErrorLog= /e \n\n\r\n", "1|T|||2| /e |/loglantern|"},
      {"a", "user=a;title=no final line end", "1|no final line end|||0||/loglantern|"},
      {"a", filler + "user=a;title=found\n", "1|found|||0||/loglantern|"},
      {"a", "url=outside\nLoglanternPath=/img/\nBase=http://h/\n", "0||||0||/img|http://h/"},
      {"a", "LoglanternPath=C:\\img\\\nBase=\nBase=" + std::string(244, 'x') + "\n", "0||||0||C:\\img|"},
      {"a", "LoglanternPath=/img//\n", "0||||0||/img/|"},
      // A line is cut at 1535 characters and its rest discarded.
      {"a", "ExtraHeader=" + std::string(3000, 'h') + "Priority=9\nuser=a;\n", "1||||0||/loglantern|"},
      {"a", "ExtraFooter=" + std::string(1523, 'f') + "\r\nPriority=4\nuser=a;\n", "1||||4||/loglantern|"},
  };
  for (const auto& c : cases) {
    Reset();
    const int matched = Parse(c.user, c.text);
    const std::string title = settings.title.c_str();
    EXPECT_EQ(std::to_string(matched) + "|" + title + "|" + settings.url.c_str() + "|" + settings.logs.c_str() + "|" +
                  std::to_string(settings.priority) + "|" + settings.errorLog.c_str() + "|" + settings.imagePath.c_str() +
                  "|" + settings.base.c_str(),
              c.result)
        << c.text.substr(0, 60);
    if (settings.extraHeader || settings.extraFooter) {
      EXPECT_EQ(strlen(settings.extraHeader ? settings.extraHeader : settings.extraFooter), 1535u - 12u);
    }
  }
}

TEST_F(ConfigFileTest, GlobalKeysCommentsAndRanks) {
  CompareParam("dnslookupenabled=1", &settings, &env, "form", 2);
  CompareParam("smartmemorydisabled=1", &settings, &env, "form", 2);
  Parse("a",
        "# a comment=with equals\n; another=comment\nno equals sign here\nnetworks=/etc/networks.txt\n"
        "RemoteDebugEnabled=1\nInternalIp=10.,192.168.\nUserPasswords=/etc/pw\nSmartMemoryKeepEntries=7\n"
        "SmartMemoryReclaimSize=8\nSmartMemoryMaxMemoryToAllocate=9\nFlushToServer=1\nsearch_casesensitive=1\n"
        "Debug=2\nDNSLookupEnabled=0\nSmartMemoryEnabled=1\nExtraFooter=global\nExtraHeader=global head\n"
        "user=a;extrafooter=account\n");
  EXPECT_STREQ(settings.networksFile.c_str(), "/etc/networks.txt");
  EXPECT_EQ(settings.remoteDebugEnabled, 1);
  EXPECT_STREQ(settings.internalIp.c_str(), "10.,192.168.");
  EXPECT_STREQ(settings.userPasswords.c_str(), "/etc/pw");
  EXPECT_EQ(settings.smartMemoryKeepEntries * 100 + settings.smartMemoryReclaimSize * 10 + settings.smartMemoryMaxMemory, 789);
  EXPECT_EQ(settings.flushToServer + settings.searchCaseSensitive, 2);
  EXPECT_EQ(settings.debug * 100 + settings.debugSources, 208);
  EXPECT_EQ(settings.dnsLookupEnabled, 1);  // the request's choices survive the file
  EXPECT_EQ(settings.smartMemoryEnabled, 0);
  EXPECT_STREQ(settings.extraFooter, "account");  // account items outrank global lines
  EXPECT_STREQ(settings.extraHeader, "global head");
  char text[] = "x\\/";
  TrimTrailingBackslash(text);
  EXPECT_STREQ(text, "x\\");
}

// A missing file falls back to the standard name in the working folder,
// and is error 9 without it, except for the about and credits pages.
TEST_F(ConfigFileTest, MissingFileFallsBackThenIsError9ExceptForAboutAndCredits) {
  settings.configFile.set(dir.file("missing.conf").c_str());
  settings.username.set("a");
  auto run = [&] {
    return front_test::RunInChild([&] {
      if (chdir(dir.path().c_str()) != 0) _exit(3);
      const int matched = ParseConfigFile(&settings, &env);
      printf("%d[%s|%s]", matched, settings.imagePath.c_str(), settings.title.c_str());
    }).out;
  };
  const std::string missing = run();
  EXPECT_NE(missing.find("Loglantern Error #9: Could not open configuration file</h2>"), std::string::npos);
  EXPECT_NE(missing.find("The configuration file (" + dir.file("missing.conf") + ")"), std::string::npos);
  for (int mode : {kRunAbout, kRunCredits}) {
    settings.runMode = mode;
    EXPECT_EQ(run(), "0[|]");
  }
  WriteFile(dir.file("loglantern.conf"), "user=a;title=fallback\n");
  EXPECT_EQ(run(), "1[/loglantern|fallback]");
}

}  // namespace

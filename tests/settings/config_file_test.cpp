#include "settings/config_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "driver/run_in_child.h"
#include "settings/settings_fixture.h"
#include "support/test_support.h"

namespace {

using testing_support::TempDir;
using testing_support::WriteFile;

class ConfigFileTest : public SettingsTest {
 protected:
  // Writes the configuration text and points the settings at it.
  void UseConfig(const std::string& text) {
    WriteFile(dir.file("site.conf"), text);
    settings.configFile.set(dir.file("site.conf").c_str());
  }
  int Parse(const std::string& user, const std::string& text) {
    settings.username.set(user.c_str());
    UseConfig(text);
    return ParseConfigFile(&settings, &env);
  }
  TempDir dir;
};

TEST_F(ConfigFileTest, AccountLineMatchesByPrefixIgnoringCase) {
  EXPECT_EQ(Parse("JOE", "USER=joe;url=x;logs=/l/*.log\n"), 1);
  EXPECT_STREQ(settings.url.c_str(), "x");
  EXPECT_STREQ(settings.logs.c_str(), "/l/*.log");
}

TEST_F(ConfigFileTest, AccountNamesMustMatchWholeAndEndInSemicolon) {
  EXPECT_EQ(Parse("joe", "user=joe\n"), 0);
  EXPECT_EQ(Parse("joe", "user=jo;url=a\n"), 0);
  EXPECT_EQ(Parse("jo", "user=joe;url=a\n"), 0);
  EXPECT_TRUE(settings.url.empty());
  EXPECT_EQ(Parse("", "user=;url=anonymous\n"), 1);
  EXPECT_STREQ(settings.url.c_str(), "anonymous");
}

TEST_F(ConfigFileTest, UserNameReplacesEveryPlaceholder) {
  EXPECT_EQ(Parse("ann", "user=ann;logs=/home/%user%/logs/%user%-*.log;title=%user%%user%\n"),
            1);
  EXPECT_STREQ(settings.logs.c_str(), "/home/ann/logs/ann-*.log");
  EXPECT_STREQ(settings.title.c_str(), "annann");
}

TEST_F(ConfigFileTest, PlaceholderGrowthIsCutAtTheItemLimit) {
  Form("username=" + std::string(99, 'u'));
  std::string item = "title=";
  for (int i = 0; i < 30; ++i) item += "%user%";
  UseConfig("user=" + std::string(99, 'u') + ";" + item + "\n");
  EXPECT_EQ(ParseConfigFile(&settings, &env), 1);
  EXPECT_EQ(settings.title.size(), 243u - 6u);  // "title=" inside the 243-character item
}

TEST_F(ConfigFileTest, GlobalKeysAndComments) {
  Parse("a",
        "# a comment=with equals\n"
        "; another=comment\n"
        "no equals sign here\n"
        "networks=/etc/networks.txt\n"
        "ErrorLog=/tmp/errors.log\n"
        "RemoteDebugEnabled=1\n"
        "Priority=5\n"
        "InternalIp=10.,192.168.\n"
        "UserPasswords=/etc/pw\n"
        "SmartMemoryKeepEntries=7\n"
        "SmartMemoryReclaimSize=8\n"
        "SmartMemoryMaxMemoryToAllocate=9\n"
        "FlushToServer=1\n"
        "search_casesensitive=1\n"
        "url=ignored-outside-an-account\n"
        "Value= keeps = spaces \n"
        "user=a;x=1\n");
  EXPECT_STREQ(settings.networksFile.c_str(), "/etc/networks.txt");
  EXPECT_STREQ(settings.errorLog.c_str(), "/tmp/errors.log");
  EXPECT_EQ(settings.remoteDebugEnabled, 1);
  EXPECT_EQ(settings.priority, 5);
  EXPECT_STREQ(settings.internalIp.c_str(), "10.,192.168.");
  EXPECT_STREQ(settings.userPasswords.c_str(), "/etc/pw");
  EXPECT_EQ(settings.smartMemoryKeepEntries, 7);
  EXPECT_EQ(settings.smartMemoryReclaimSize, 8);
  EXPECT_EQ(settings.smartMemoryMaxMemory, 9);
  EXPECT_EQ(settings.flushToServer, 1);
  EXPECT_EQ(settings.searchCaseSensitive, 1);
  EXPECT_TRUE(settings.url.empty());
}

TEST_F(ConfigFileTest, GlobalValuesAreNotTrimmed) {
  Parse("a", "ErrorLog= /tmp/e.log \nuser=a;\n");
  EXPECT_STREQ(settings.errorLog.c_str(), " /tmp/e.log ");
}

TEST_F(ConfigFileTest, DebugKeyRecordsTheGlobalRank) {
  Parse("a", "Debug=2\nuser=a;\n");
  EXPECT_EQ(settings.debug, 2);
  EXPECT_EQ(settings.debugSources, 8);
}

TEST_F(ConfigFileTest, RequestChoicesSurviveTheFile) {
  CompareParam("dnslookupenabled=1", &settings, &env, "form", 2);
  CompareParam("smartmemorydisabled=1", &settings, &env, "form", 2);
  Parse("a", "DNSLookupEnabled=0\nSmartMemoryEnabled=1\nuser=a;\n");
  EXPECT_EQ(settings.dnsLookupEnabled, 1);
  EXPECT_EQ(settings.smartMemoryEnabled, 0);

  Reset();
  Parse("a", "DNSLookupEnabled=1\nSmartMemoryEnabled=0\nuser=a;\n");
  EXPECT_EQ(settings.dnsLookupEnabled, 1);
  EXPECT_EQ(settings.smartMemoryEnabled, 0);
}

TEST_F(ConfigFileTest, BaseNeedsOneTo243Characters) {
  Parse("a", "Base=http://h/\nuser=a;\n");
  EXPECT_STREQ(settings.base.c_str(), "http://h/");
  Parse("a", "Base=" + std::string(244, 'x') + "\nBase=\n");
  EXPECT_STREQ(settings.base.c_str(), "http://h/");
}

TEST_F(ConfigFileTest, SmartParsingBeforeTheAccountStopsRightAfterIt) {
  Parse("a", "SmartParsing=1\nuser=a;title=first\nPriority=3\nuser=a;title=second\n");
  EXPECT_STREQ(settings.title.c_str(), "first");
  EXPECT_EQ(settings.priority, 0);
}

TEST_F(ConfigFileTest, SmartParsingAfterTheAccountStopsAtItsOwnLine) {
  Parse("a", "user=a;title=first\nPriority=3\nSmartParsing=1\nPriority=4\nuser=a;title=x\n");
  EXPECT_STREQ(settings.title.c_str(), "first");
  EXPECT_EQ(settings.priority, 3);
}

TEST_F(ConfigFileTest, WithoutSmartParsingEveryMatchingAccountLineApplies) {
  EXPECT_EQ(Parse("a", "user=a;title=first;url=u\nuser=b;title=other\nuser=A;title=second\n"),
            1);
  EXPECT_STREQ(settings.title.c_str(), "second");
  EXPECT_STREQ(settings.url.c_str(), "u");
}

TEST_F(ConfigFileTest, AccountItemsOutrankGlobalLinesWhateverTheirOrder) {
  Parse("a", "user=a;extrafooter=account\nExtraFooter=global\nExtraHeader=global head\n");
  EXPECT_STREQ(settings.extraFooter, "account");
  EXPECT_STREQ(settings.extraHeader, "global head");
}

TEST_F(ConfigFileTest, LineEndsCrLfCrAndLfReadTheSame) {
  for (const char* eol : {"\n", "\r\n", "\r", "\n\n\r\n"}) {
    SCOPED_TRACE(testing::PrintToString(std::string(eol)));
    Reset();
    std::string text = std::string("Priority=2") + eol + "user=a;title=T;url=U" + eol +
                       "ErrorLog=/e" + eol;
    EXPECT_EQ(Parse("a", text), 1);
    EXPECT_EQ(settings.priority, 2);
    EXPECT_STREQ(settings.title.c_str(), "T");
    EXPECT_STREQ(settings.url.c_str(), "U");
    EXPECT_STREQ(settings.errorLog.c_str(), "/e");
  }
  Reset();
  EXPECT_EQ(Parse("a", "user=a;title=no final line end"), 1);
  EXPECT_STREQ(settings.title.c_str(), "no final line end");
}

TEST_F(ConfigFileTest, LongLinesAreCutAt1535AndTheRestDiscarded) {
  std::string longHeader = "ExtraHeader=" + std::string(3000, 'h');
  Parse("a", longHeader + "Priority=9\nuser=a;\n");
  ASSERT_NE(settings.extraHeader, nullptr);
  EXPECT_EQ(strlen(settings.extraHeader), 1535u - strlen("ExtraHeader="));
  EXPECT_EQ(settings.priority, 0);  // it was part of the discarded rest

  // Exactly 1535 characters: the line end that follows still ends the line.
  Reset();
  std::string exact = "ExtraFooter=" + std::string(1535 - 12, 'f');
  Parse("a", exact + "\r\nPriority=4\nuser=a;\n");
  EXPECT_EQ(strlen(settings.extraFooter), 1535u - 12u);
  EXPECT_EQ(settings.priority, 4);
}

TEST_F(ConfigFileTest, LinesAcrossBlockBoundariesAndBinaryBytes) {
  std::string text;
  for (int i = 0; i < 2000; ++i) text += "# filler comment line " + std::to_string(i) + "\n";
  text += std::string("\0junk=1\n", 8);
  text += "\x01\xff=binary\n";
  text += "user=a;title=found after " + std::to_string(text.size()) + " bytes\n";
  EXPECT_EQ(Parse("a", text), 1);
  EXPECT_EQ(std::string(settings.title.c_str()).rfind("found after", 0), 0u);
}

TEST_F(ConfigFileTest, ImagePathDefaultAndTrailingSlashOrBackslash) {
  Parse("a", "user=a;\n");
  EXPECT_STREQ(settings.imagePath.c_str(), "/loglantern");
  Reset();
  Parse("a", "LoglanternPath=/img/\n");
  EXPECT_STREQ(settings.imagePath.c_str(), "/img");
  Reset();
  Parse("a", "LoglanternPath=C:\\img\\\n");
  EXPECT_STREQ(settings.imagePath.c_str(), "C:\\img");
  Reset();
  Parse("a", "LoglanternPath=/img//\n");
  EXPECT_STREQ(settings.imagePath.c_str(), "/img/");
}

TEST(TrimTrailingBackslash, RemovesOneBackslashOrOneSlash) {
  char a[] = "x\\/";
  TrimTrailingBackslash(a);
  EXPECT_STREQ(a, "x\\");
  char b[] = "";
  TrimTrailingBackslash(b);
  EXPECT_STREQ(b, "");
}

TEST_F(ConfigFileTest, FallsBackToTheStandardNameInTheWorkingFolder) {
  WriteFile(dir.file("loglantern.conf"), "user=a;title=fallback\n");
  settings.configFile.set("no-such-file.conf");
  settings.username.set("a");
  auto r = front_test::RunInChild([&] {
    if (chdir(dir.path().c_str()) != 0) _exit(3);
    int matched = ParseConfigFile(&settings, &env);
    printf("%d %s", matched, settings.title.c_str());
  });
  EXPECT_EQ(r.out, "1 fallback");
}

TEST_F(ConfigFileTest, MissingFileIsError9ExceptForAboutAndCredits) {
  settings.configFile.set(dir.file("missing.conf").c_str());
  auto r = front_test::RunInChild([&] {
    if (chdir(dir.path().c_str()) != 0) _exit(3);
    ParseConfigFile(&settings, &env);
  });
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_NE(r.out.find("Loglantern Error #9: Could not open configuration file</h2>"),
            std::string::npos);
  EXPECT_NE(r.out.find("The configuration file (" + dir.file("missing.conf") + ")"),
            std::string::npos);

  for (int mode : {kRunAbout, kRunCredits}) {
    settings.runMode = mode;
    auto page = front_test::RunInChild([&] {
      if (chdir(dir.path().c_str()) != 0) _exit(3);
      printf("%d[%s]", ParseConfigFile(&settings, &env), settings.imagePath.c_str());
    });
    EXPECT_EQ(page.out, "0[]");
  }
}

}  // namespace

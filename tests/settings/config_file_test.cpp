#include "settings/config_file.h"

#include <string>

#include "support/fixtures.h"

namespace {

using ConfigFileTest = SettingsTest;

// The user's account line(s) and the global lines, read as
// "matched|title|url|logs|priority|errorLog|imagePath|base".
TEST_F(ConfigFileTest, AccountLinesGlobalLinesLineEndsAndCuts) {
  std::string filler;  // more than one read block
  for (int i = 0; i < 2000; ++i) filler += "# filler comment line " + std::to_string(i) + "\n";
  filler += std::string("\0junk=1\n\x01\xff=binary\n", 18);
  std::string title30 = "title=";
  for (int i = 0; i < 30; ++i) title30 += "%user%";
  const struct {
    std::string user, text, result;
  } cases[] = {
      {"JOE", "USER=joe;url=x;logs=/l/*.log\n", "1||x|/l/*.log|0||/loglantern|"},
      {"", "user=;url=anonymous\rPriority=2\r", "1||anonymous||2||/loglantern|"},
      {"ann", "user=ann;logs=/home/%user%/%user%-*.log;title=%user%%user%\n", "1|annann||/home/ann/ann-*.log|0||/loglantern|"},
      {std::string(99, 'u'), "user=" + std::string(99, 'u') + ";" + title30 + "\n", "1|" + std::string(237, 'u') + "|||0||/loglantern|"},
      // Smart parsing before the account stops right after it; after it, at its own line.
      {"a", "SmartParsing=1\nuser=a;title=first\nPriority=3\nuser=a;title=second\n", "1|first|||0||/loglantern|"},
      {"a", "user=a;title=first\nPriority=3\nSmartParsing=1\nPriority=4\nuser=a;title=x\n", "1|first|||3||/loglantern|"},
      {"a", "user=a;title=first;url=u\nuser=b;title=other\nuser=A;title=second\n", "1|second|u||0||/loglantern|"},
      {"a", "Priority=2\n\n\r\nuser=a;title=T\n\n\r\nErrorLog= /e \n\n\r\n", "1|T|||2| /e |/loglantern|"},
      {"a", filler + "user=a;title=no final line end", "1|no final line end|||0||/loglantern|"},
      {"a", "url=outside\nLoglanternPath=C:\\img\\\nBase=http://h/\n", "0||||0||C:\\img|http://h/"},
      {"a", "LoglanternPath=/img//\nBase=\nBase=" + std::string(244, 'x') + "\n", "0||||0||/img/|"},
      // A line is cut at 1535 characters and its rest discarded.
      {"a", "ExtraHeader=" + std::string(3000, 'h') + "Priority=9\nuser=a;\n", "1||||0||/loglantern|"},
      {"a", "ExtraFooter=" + std::string(1523, 'f') + "\r\nPriority=4\nuser=a;\n", "1||||4||/loglantern|"},
  };
  testing_support::TempDir dir;
  for (const auto& c : cases) {
    Reset();
    settings.username.set(c.user.c_str());
    testing_support::WriteFile(dir.file("site.conf"), c.text);
    settings.configFile.set(dir.file("site.conf").c_str());
    const int matched = ParseConfigFile(&settings, &env);
    EXPECT_EQ(std::to_string(matched) + "|" + settings.title.c_str() + "|" + settings.url.c_str() + "|" + settings.logs.c_str() +
                  "|" + std::to_string(settings.priority) + "|" + settings.errorLog.c_str() + "|" + settings.imagePath.c_str() +
                  "|" + settings.base.c_str(),
              c.result)
        << c.text.substr(0, 60);
    if (settings.extraHeader || settings.extraFooter) {
      EXPECT_EQ(strlen(settings.extraHeader ? settings.extraHeader : settings.extraFooter), 1535u - 12u);
    }
  }
}

}  // namespace

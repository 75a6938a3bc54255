// What a hostile request or file in the site's folders can make the whole program do: choose the
// files it reads, hang it (such runs end under the test's TIMEOUT), flood its memory, forge log lines.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;
using namespace testing_support;
using Env = std::map<std::string, std::string>;

const std::string kReport = "username=ann&date=01012000%2C01022000";

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class RequestLimits : public ::testing::Test {
 protected:
  void SetUp() override { Logs(); }
  void Logs() {  // logs/ with one log
    fs::remove_all(dir.file("logs"));
    fs::create_directory(dir.file("logs"));
    WriteFile(dir.file("logs/access.log"), "1.2.3.4 - - [01/Jan/2000:10:00:00 +0000] \"GET /a.html HTTP/1.0\" 200 10\n");
  }
  RunResult Post(const std::string& body, Env env = {}) { return PostToLoglantern(body, env, dir.path()); }
  RunResult Run(const std::vector<std::string>& words, Env env = {}) { return RunLoglantern(words, env, "", dir.path()); }
  // An account over logs/*.log, with extra configuration lines and items.
  void Config(const std::string& globals, const std::string& items = "") {
    WriteFile(dir.file("loglantern.conf"),
              globals + "user=ann;password=*;url=http://h;logs=" + dir.file("logs") + "/*.log" + items + "\n");
  }
  TempDir dir;
};

// A web request may name a configuration or summary file only in the
// program's folder and the logs folder; the files and a shell run may name any.
TEST_F(RequestLimits, WebRequestNamesFilesOnlyInTheirOwnFolder) {
  WriteFile(dir.file("other.conf"), "RemoteDebugEnabled=1\n");
  fs::create_directory(dir.file("sub"));
  WriteFile(dir.file("sub/other.conf"), "RemoteDebugEnabled=1\nuser=ann;password=*\n");
  WriteFile(dir.file("loglantern.conf"), "RemoteDebugEnabled=1\n");
  const std::string up = "..%2F" + fs::path(dir.path()).filename().string() + "%2Fother.conf";
  const std::pair<std::string, std::string> cases[] = {  // posted config=, the file shown
      {"other.conf", "other.conf"}, {"ot=her.conf", "other.conf"},  // the extra '=' goes first
      {"sub%2Fother.conf", "loglantern.conf"}, {dir.file("other.conf"), "loglantern.conf"}, {up, "loglantern.conf"},
      {".other.conf", "loglantern.conf"}, {"=/dev/stdin", "loglantern.conf"}, {"%2Fdev%2Fstdin", "loglantern.conf"},
  };
  for (const auto& [name, shown] : cases) {
    const RunResult r = Post("config=" + name, {{"QUERY_STRING", "remotedebug"}});
    EXPECT_TRUE(Contains(r.out, "Configuration filename=" + shown + "<p>")) << name << "\n" << r.out;
  }
  // Argument words of a CGI run obey the same rule; a shell run does not.
  EXPECT_TRUE(Contains(Run({"config=sub/other.conf"}, {{"QUERY_STRING", "remotedebug"}}).out,
                       "Configuration filename=loglantern.conf<p>"));
  EXPECT_TRUE(Contains(Run({"config=sub/other.conf", "username=ann"}).out, "Error #4:"));  // its account
  // summary: from the form only inside the logs folder; from the account anywhere.
  fs::create_directory(dir.file("elsewhere"));
  Config("");
  Post(kReport + "&summary=..%2Felsewhere%2Fform");
  EXPECT_FALSE(FileExists(dir.file("elsewhere/form.LGS")));
  EXPECT_TRUE(FileExists(dir.file("logs/s_log.LGS")));
  Config("", ";summary=../elsewhere/account");
  Post(kReport);
  EXPECT_TRUE(FileExists(dir.file("elsewhere/account.LGS")));
}

// Devices, FIFOs and folders where a file is expected behave as files that
// cannot be opened, and never block.  Each of these used to hang the run.
TEST_F(RequestLimits, OnlyRegularFilesAreOpened) {
  ASSERT_EQ(symlink("/dev/zero", dir.file("zero").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
  const std::string couldNot = "ERROR: couldn't open log file " + dir.file("logs/");
  const struct {
    std::string globals, items, word, planted, expected;  // configuration lines, account items, shell word, file in logs/
  } cases[] = {
      // A configuration that cannot be opened falls back to loglantern.conf.
      {"", "", "config=/dev/zero", "", "HTTP Requests:"},
      {"", "", "config=fifo", "", "HTTP Requests:"},
      {"", "", "config=logs", "", "HTTP Requests:"},
      {"UserPasswords=" + dir.file("zero") + "\n", ";password=", "", "", "Error #10:"},
      {"UserPasswords=" + dir.file("fifo") + "\n", ";password=", "", "", "Error #10:"},
      {"ErrorLog=" + dir.file("fifo") + "\n", "", "username=bob", "", "Error #2:"},
      {"Networks=" + dir.file("zero") + "\n", ";domaintypes=1", "", "", "Types Of Domains"},
      {"", "", "", "fifo.log", couldNot + "fifo.log.<p>"},
      {"", "", "", "zero.log", couldNot + "zero.log.<p>"},
      {"", "", "", "folder.log", couldNot + "folder.log.<p>"},
      {"", ";summary=zero", "", "zero.LGS", "HTTP Requests:"},
  };
  for (const auto& c : cases) {
    Config(c.globals, c.items);
    Logs();
    const std::string planted = dir.file("logs/" + c.planted);
    if (c.planted == "fifo.log") mkfifo(planted.c_str(), 0600);
    if (c.planted.rfind("zero", 0) == 0) symlink("/dev/zero", planted.c_str());
    if (c.planted == "folder.log") fs::create_directory(planted);
    std::vector<std::string> words = {"username=ann", "date=01012000,01022000"};
    if (!c.word.empty()) words.push_back(c.word);
    const RunResult r = Run(words);
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_TRUE(Contains(r.out, c.expected)) << c.globals << c.items << c.planted << "\n" << r.out.substr(0, 3000);
  }
  Config("RemoteDebugEnabled=1\n");  // the remote-debugging display of a configuration that is a device
  EXPECT_TRUE(Contains(Post("config=zero", {{"QUERY_STRING", "remotedebug"}}).out,
                       "Configuration filename=zero<p>\nError! Could not open the configuration file!"));
}

// The body is read only up to 64 KiB, and its fields one at a time.
TEST_F(RequestLimits, LongBodiesAreRefusedOrCheap) {
  WriteFile(dir.file("loglantern.conf"), "user=ann;password=*\n");
  // The peak of the flooded run against that of a small one (the largest
  // child so far), so that a sanitizer's own memory does not count.
  struct rusage small, flooded;
  Post("username=bo");
  getrusage(RUSAGE_CHILDREN, &small);
  std::string flood;
  while (flood.size() < 65536 - 12) flood += "&=";
  EXPECT_TRUE(Contains(Post(flood + "&username=bo").out, "Error #2:"));
  getrusage(RUSAGE_CHILDREN, &flooded);
  EXPECT_LT(flooded.ru_maxrss - small.ru_maxrss, 8 * 1024) << "kB more at the peak";
  const std::string padded = "username=ann&pad=" + std::string(65536 - 17, 'x');
  EXPECT_TRUE(Contains(Post(padded).out, "Error #4:"));        // read: the account has no url
  EXPECT_TRUE(Contains(Post(padded + 'x').out, "Error #2:"));  // refused: no account named
}

// Control bytes of request values (decoded, in names too) cannot forge or
// break error-log lines.
TEST_F(RequestLimits, ErrorLogLinesCannotBeForged) {
  Config("ErrorLog=errors.log\n");
  for (const char* code : {"%0A", "%0D", "%1B", "%7F", "%09"}) {
    fs::remove(dir.file("errors.log"));
    Post(std::string("user%6Eame=bob") + code + "[01/Jan/2000:00:00:00]+forged", {{"REMOTE_HOST", "h\nx"}});
    const std::string log = ReadFile(dir.file("errors.log"));
    EXPECT_TRUE(Contains(log, "from 'h?x' with username='bob?[01/Jan/2000:00:00:00] forged'\n")) << code << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << code;
  }
}
}  // namespace

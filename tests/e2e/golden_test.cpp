// Whole pages of the real program, compared byte for byte with the pages
// kept under tests/e2e/golden/.  Each scenario is a folder with a
// configuration file, logs and other files, and a request given either as
// command-line words or as a POSTed CGI form.
//
// Only what changes from run to run is masked before the comparison: the
// "Date of Report" value becomes @DATE@ and the elapsed time @ELAPSED@.
// In the kept pages, @CREDITS@ stands for the product's credit lines
// (golden/credits.inc), @BULLET@ for the jump bar's separator byte 0x95,
// and @USER@ / @GROUP@ for the names of the user running the tests.
#include <gtest/gtest.h>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <utime.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace {

using testing_support::FileExists;
using testing_support::ReadFile;
using testing_support::RunLoglantern;
using testing_support::RunResult;
using testing_support::SourceDir;
using testing_support::TempDir;
using testing_support::WriteFile;

struct Scenario {
  std::string golden;                        // page name under tests/e2e/golden/
  std::map<std::string, std::string> files;  // relative path -> content
  std::vector<std::string> words;            // command-line mode: the words
  std::string body;                          // CGI mode: the POSTed form
  bool cgi = false;
  std::map<std::string, std::string> env;    // extra CGI variables
};

// ---- inputs shared by the scenarios ----

// Two days of one small site: search-engine, internal and external
// referrers, a 404 from a stale link, three browsers, three kinds of host.
const char* const kSiteLog =
    "ws1.example.com - - [01/Jan/2024:09:15:00 +0000] \"GET /index.html HTTP/1.0\" 200 1000 "
    "\"http://www.google.com/search?q=lantern+oil\" "
    "\"Mozilla/4.0 (compatible; MSIE 5.0; Windows 98)\"\n"
    "ws1.example.com - - [01/Jan/2024:09:15:05 +0000] \"GET /img/logo.gif HTTP/1.0\" 200 500 "
    "\"http://www.example.org/index.html\" \"Mozilla/4.0 (compatible; MSIE 5.0; Windows 98)\"\n"
    "10.0.0.7 - - [01/Jan/2024:14:30:00 +0000] \"GET /index.html HTTP/1.0\" 200 1000 \"-\" "
    "\"Mozilla/4.7 [en] (X11; I; Linux)\"\n"
    "10.0.0.7 - - [01/Jan/2024:14:31:00 +0000] \"GET /old.html HTTP/1.0\" 404 200 "
    "\"http://links.example.net/page.html\" \"Mozilla/4.7 [en] (X11; I; Linux)\"\n"
    "host.uni.example.edu - - [02/Jan/2024:20:00:00 +0000] \"GET /docs/guide.html?ch=2 "
    "HTTP/1.0\" 200 3000 \"http://search.yahoo.com/bin/search?p=Lantern+Oil\" \"Lynx/2.8\"\n"
    "host.uni.example.edu - - [02/Jan/2024:20:01:00 +0000] \"GET /index.html HTTP/1.0\" 200 "
    "1000 \"http://www.google.com/search?hl=en&q=lantern+oil\" \"Lynx/2.8\"\n";

const char* const kNetworks = "COM        Commercial\nEDU        Educational\n";

const char* const kSiteConfig =
    "# Configuration of the page tests\n"
    "LoglanternPath=/ll/\n"
    "Networks=networks.txt\n"
    "user=ann;password=*;url=http://www.example.org/;logs=logs/*.log;subdirs=1\n";

// The crypt hash of "lantern" with a fixed salt.
const char* const kLanternHash =
    "$6$e2egolden$IlCjZQDc/JnopxjUS4X9MmvUZlZQ.mDZF4rKdlmCK4ADYiaC1jha5.jIgu4A9p20/0bCAcMgfNxxlGBl"
    "UfYk9/";

const std::vector<std::string> kEverySection = {
    "requests=1",   "referrers=1",        "search=1",          "browsers=1",
    "badurls=1",    "badurl_referrers=1", "badreferrers=1",    "domains=1",
    "domaintypes=1", "dailytotals=1",     "hitsperdayofweek=1", "hitsperhour=1"};

std::vector<std::string> Words(std::vector<std::string> words,
                               const std::vector<std::string>& more = {}) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

std::map<std::string, std::string> SiteFiles(const std::string& config = kSiteConfig) {
  return {{"loglantern.conf", config}, {"networks.txt", kNetworks}, {"logs/access.log", kSiteLog}};
}

// The site's log and a second one with a crawler, a redirect, a server
// error and a visitor who comes back after exactly 30 minutes and later.
std::map<std::string, std::string> SiteFilesWithRobots() {
  auto files = SiteFiles();
  files["logs/more.log"] =
      "10.0.0.9 - - [02/Jan/2024:08:00:00 +0000] \"GET /docs/ HTTP/1.0\" 200 800 \"-\" \"Lynx/2.8\"\n"
      "10.0.0.9 - - [02/Jan/2024:08:30:00 +0000] \"GET /old HTTP/1.0\" 301 0 \"-\" \"Lynx/2.8\"\n"
      "10.0.0.9 - - [02/Jan/2024:09:30:00 +0000] \"GET /cgi/run.cgi HTTP/1.0\" 500 90 \"-\" \"Lynx/2.8\"\n"
      "66.249.66.1 - - [02/Jan/2024:10:00:00 +0000] \"GET /index.html HTTP/1.0\" 200 1000 \"-\" "
      "\"Mozilla/5.0 (compatible; Googlebot/2.1; +http://www.google.com/bot.html)\"\n";
  return files;
}

const std::vector<std::string> kNewSections = {"visitors=1", "pages=1", "statuscodes=1",
                                               "browserfamilies=1", "robots=1"};

// 2,112 requests: three popular pages, then 2,100 pages asked for once,
// more distinct URLs than a 500K memory ceiling holds.
std::string ManyUrlsLog() {
  std::string log;
  char line[160];
  auto add = [&](const std::string& url, int second) {
    snprintf(line, sizeof line,
             "10.1.1.1 - - [01/Jan/2024:%02d:%02d:%02d +0000] \"GET %s HTTP/1.0\" 200 10\n",
             second / 3600, second / 60 % 60, second % 60, url.c_str());
    log += line;
  };
  int second = 0;
  for (int i = 0; i < 5; ++i) add("/popular.html", second++);
  for (int i = 0; i < 4; ++i) add("/second.html", second++);
  for (int i = 0; i < 3; ++i) add("/third.html", second++);
  for (int i = 0; i < 2100; ++i) {
    char url[32];
    snprintf(url, sizeof url, "/page%04d.html", i);
    add(url, second++);
  }
  return log;
}

Scenario Cli(const std::string& golden, std::map<std::string, std::string> files,
             std::vector<std::string> words) {
  Scenario s;
  s.golden = golden;
  s.files = std::move(files);
  s.words = std::move(words);
  return s;
}

Scenario Cgi(const std::string& golden, std::map<std::string, std::string> files,
             const std::string& body, std::map<std::string, std::string> env = {}) {
  Scenario s;
  s.golden = golden;
  s.files = std::move(files);
  s.body = body;
  s.cgi = true;
  s.env = std::move(env);
  return s;
}

std::vector<Scenario> Scenarios() {
  const std::string range = "date=01012024,01022024";
  std::vector<Scenario> s;
  s.push_back(Cli("all_sections", SiteFiles(), Words({"username=ann", range}, kEverySection)));
  s.push_back(Cli("new_sections", SiteFilesWithRobots(),
                  Words(Words({"username=ann", range}, kEverySection), kNewSections)));
  s.push_back(Cgi("sections_off_cgi",
                  SiteFiles(std::string(kSiteConfig) + "ExtraHeader=<p>Header from the site</p>\n"),
                  "username=ann&date=01012024%2C01022024&filter_filetypes=gif"
                  "&extrafooter=%3Cp%3EFooter+from+the+form%3C%2Fp%3E",
                  {{"REMOTE_ADDR", "192.0.2.1"}}));
  s.push_back(Cli("limits", SiteFiles(),
                  {"username=ann", range, "requests=1,2", "referrers=1,50%", "browsers=1,0,3",
                   "domains=1", "domains_top=-1", "domains_greater=-1"}));
  s.push_back(Cli("empty_lists", SiteFiles(),
                  Words({"username=ann", range, "find=/nothing"}, kEverySection)));
  s.push_back(Cgi("no_logs_in_range", SiteFiles(),
                  "username=ann&date=06012023%2C06302023&requests=1&hitsperhour=1"));
  s.push_back(Cli("smart_memory",
                  {{"loglantern.conf",
                    "SmartMemoryMaxMemoryToAllocate=500\nSmartMemoryKeepEntries=10\n"
                    "SmartMemoryReclaimSize=100\n"
                    "user=ann;url=http://www.example.org;logs=logs/*.log;subdirs=1\n"},
                   {"logs/many.log", ManyUrlsLog()}},
                  {"username=ann", "date=01012024", "em=01", "ed=01", "ey=2024", "requests=1,3"}));
  auto debugFiles = SiteFiles(std::string(kSiteConfig) + "Debug=1\n");
  debugFiles["logs/old.log"] = "10.0.0.7 - - [01/Jan/2023:14:30:00 +0000] \"GET / HTTP/1.0\" 200 1\n";
  debugFiles["logs/notes.log"] = "nothing dated here\n";
  s.push_back(Cli("debug", debugFiles, {"username=ann", range, "requests=1", "hitsperhour=1"}));
  auto cryptFiles = SiteFiles("UserPasswords=passwords\n"
                              "user=ann;url=http://www.example.org;logs=logs/*.log;subdirs=1\n");
  cryptFiles["passwords"] =
      std::string("# accounts of the page tests\nann:") + kLanternHash + ":Ann\n";
  s.push_back(Cli("auth_crypt_granted", cryptFiles, {"username=ann", "password=lantern", range}));
  s.push_back(Cli("auth_crypt_refused", cryptFiles, {"username=ann", "password=Lantern", range}));
  s.push_back(Cgi("auth_wrong_password_cgi",
                  SiteFiles("ErrorLog=errors.log\n"
                            "user=ann;password=Secret;url=http://www.example.org;logs=logs/*.log;subdirs=1\n"),
                  "username=ann&password=guess&date=01012024%2C01022024",
                  {{"REMOTE_HOST", "client.example"}, {"REMOTE_ADDR", "203.0.113.9"}}));
  s.push_back(Cgi("auth_internal_ip_cgi",
                  SiteFiles("InternalIp=192.168.,10.0.\n"
                            "user=ann;password=Secret;url=http://www.example.org;logs=logs/*.log;subdirs=1\n"),
                  "username=ann&date=01012024%2C01022024&requests=1%2C1",
                  {{"REMOTE_ADDR", "10.0.3.4"}}));
  return s;
}

// ---- running and comparing ----

void Replace(std::string* text, const std::string& from, const std::string& to) {
  for (size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size()))
    text->replace(at, from.size(), to);
}

// Masks the value of the first cell after `label` up to `end`.
void MaskAfter(std::string* page, const std::string& label, const std::string& end,
               const std::string& mask) {
  size_t at = page->find(label);
  if (at == std::string::npos) return;
  at += label.size();
  size_t stop = page->find(end, at);
  if (stop != std::string::npos) page->replace(at, stop - at, mask);
}

std::string Masked(std::string page) {
  MaskAfter(&page, "<b>Date of Report:</b></td><td width=\"50%\">", "</td>", "@DATE@");
  MaskAfter(&page, "Time required to generate report = ", " (minutes", "@ELAPSED@");
  return page;
}

std::string GoldenDir() { return SourceDir() + "/tests/e2e/golden/"; }

std::string Expected(const std::string& name) {
  std::string page = ReadFile(GoldenDir() + name + ".html");
  std::string credits = ReadFile(GoldenDir() + "credits.inc");
  Replace(&page, "@CREDITS@", credits);
  Replace(&page, "@BULLET@", "\x95");
  const passwd* user = getpwuid(getuid());
  const group* grp = getgrgid(getgid());
  Replace(&page, "@USER@", user ? user->pw_name : "unknown");
  Replace(&page, "@GROUP@", grp ? grp->gr_name : "unknown");
  return page;
}

RunResult RunScenario(const Scenario& s, const TempDir& dir) {
  for (const auto& [path, content] : s.files) {
    std::string full = dir.file(path);
    std::string folder = full.substr(0, full.rfind('/'));
    std::string mkdir = "mkdir -p '" + folder + "'";
    if (system(mkdir.c_str()) != 0) ADD_FAILURE() << mkdir;
    WriteFile(full, content);
  }
  if (s.cgi) return testing_support::PostToLoglantern(s.body, s.env, dir.path());
  return RunLoglantern(s.words, s.env, s.body, dir.path());
}

// Writes the page beside the build for a reviewer to diff by hand, or, with
// LOGLANTERN_UPDATE_GOLDEN=1 in the environment, over the kept page (with
// the placeholders put back): the one way the kept pages are regenerated.
void KeepForReview(const std::string& name, std::string page) {
  std::string path = testing::TempDir() + "loglantern-" + name + ".actual.html";
  if (getenv("LOGLANTERN_UPDATE_GOLDEN")) {
    path = GoldenDir() + name + ".html";
    Replace(&page, ReadFile(GoldenDir() + "credits.inc"), "@CREDITS@");
    Replace(&page, "\x95", "@BULLET@");
    const passwd* user = getpwuid(getuid());
    const group* grp = getgrgid(getgid());
    Replace(&page, std::string("<b>User:</b> ") + (user ? user->pw_name : "unknown"), "<b>User:</b> @USER@");
    Replace(&page, std::string("<b>Group:</b> ") + (grp ? grp->gr_name : "unknown"), "<b>Group:</b> @GROUP@");
  }
  WriteFile(path, page);
  printf("page written to %s\n", path.c_str());
}

void PrintTo(const Scenario& s, std::ostream* out) { *out << s.golden; }

class GoldenPage : public ::testing::TestWithParam<Scenario> {};

TEST_P(GoldenPage, MatchesTheKeptPage) {
  const Scenario& s = GetParam();
  TempDir dir;
  RunResult r = RunScenario(s, dir);
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  std::string actual = Masked(r.out);
  std::string expected = Expected(s.golden);
  if (actual != expected) KeepForReview(s.golden, actual);
  ASSERT_EQ(actual.size(), expected.size());
  EXPECT_EQ(actual, expected);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenPage, ::testing::ValuesIn(Scenarios()),
                         [](const auto& info) { return info.param.golden; });

TEST(GoldenPageSide, SecondRunReusesTheSummaryFileAndPrintsTheSamePage) {
  Scenario s = Scenarios().front();
  TempDir dir;
  RunResult first = RunScenario(s, dir);
  std::string summary = dir.file("logs/s_log.LGS");
  ASSERT_TRUE(FileExists(summary));
  std::string written = ReadFile(summary);
  // Date the summary file back: a rewrite would show as a new time.
  struct utimbuf old = {1000000000, 1000000000};
  ASSERT_EQ(utime(summary.c_str(), &old), 0);
  RunResult second = RunScenario(s, dir);  // the logs keep their sizes
  struct stat after = {};
  ASSERT_EQ(stat(summary.c_str(), &after), 0);
  EXPECT_EQ(after.st_mtime, 1000000000);
  EXPECT_EQ(ReadFile(summary), written);
  EXPECT_EQ(Masked(second.out), Masked(first.out));
}

}  // namespace

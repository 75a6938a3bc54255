// Whole pages of the real program, compared byte for byte with the pages kept
// under tests/e2e/golden/. A scenario is a folder of files (those of
// tests/e2e/site/ and its own) and a request: command-line words, or a POSTed
// CGI form. Each runs twice: the second run reads the summary file that the
// first wrote, and must print the same page.
#include <gtest/gtest.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "support/test_support.h"

namespace {

using namespace testing_support;
using Files = std::map<std::string, std::string>;

struct Scenario {
  std::string golden;   // page name under tests/e2e/golden/
  Files files;          // relative path -> content, besides the site's
  std::string request;  // command-line words, or "POST " and a CGI form
  Files env{};          // extra CGI variables
};

// Kept inputs: access.log, two days of a small site (search engines, referrers, a stale link, three browsers and
// kinds of host); robots.log (a crawler, a redirect, a server error, a visitor back after exactly 30 minutes);
// webstar*.log, the two self-describing WebSTAR layouts.
std::string Kept(const std::string& name) { return ReadFile(SourceDir() + "/tests/e2e/site/" + name); }

std::string ManyUrlsLog() {  // three popular pages, then more pages asked for once than 500K holds
  std::string log;
  char line[160], page[32];
  for (int i = 0; i < 2112; ++i) {
    snprintf(page, sizeof page, "/page%04d.html", i - 12);
    const char* url = i < 5 ? "/popular.html" : i < 9 ? "/second.html" : i < 12 ? "/third.html" : page;
    snprintf(line, sizeof line, "10.1.1.1 - - [01/Jan/2024:%02d:%02d:%02d +0000] \"GET %s HTTP/1.0\" 200 10\n",
             i / 3600, i / 60 % 60, i % 60, url);
    log += line;
  }
  return log;
}

std::vector<Scenario> Scenarios() {
  const std::string site = Kept("loglantern.conf"), demo = "username=demo date=01012024,01022024",
                    every = " requests=1 referrers=1 search=1 browsers=1 badurls=1 badurl_referrers=1 badreferrers=1 "
                            "domains=1 domaintypes=1 dailytotals=1 hitsperdayofweek=1 hitsperhour=1",
                    account = "user=demo;url=http://www.example.org;logs=logs/*.log;subdirs=1\n",
                    secret = "user=demo;password=Secret;url=http://www.example.org;logs=logs/*.log;subdirs=1\n";
  const Files crypt = {{"loglantern.conf", "UserPasswords=passwords\n" + account}, {"passwords", Kept("passwords")}};
  return {
      {"all_sections", {}, demo + every},
      {"new_sections", {{"logs/more.log", Kept("robots.log")}},
       demo + every + " visitors=1 pages=1 statuscodes=1 browserfamilies=1 robots=1"},
      {"sections_off_cgi", {{"loglantern.conf", site + "ExtraHeader=<p>Header from the site</p>\n"}},
       "POST username=demo&date=01012024%2C01022024&filter_filetypes=gif&filter_domains=uni.example.edu&extrafooter=%3Cp%3EFooter+from+the+form%3C%2Fp%3E",
       {{"REMOTE_ADDR", "192.0.2.1"}}},
      {"day_first", {{"logs/more.log", Kept("robots.log")}}, demo + " dateformat=DMY dailytotals=1 hitsperdayofweek=1 visitors=1"},
      {"limits", {}, demo + " requests=1,2 referrers=1,50% browsers=1,0,3 domaintypes=1,0,2 domains=1 domains_top=-1 domains_greater=-1"},
      {"empty_lists", {}, demo + " find=/nothing" + every},
      {"no_logs_in_range", {}, "POST username=demo&date=06012023%2C06302023&requests=1&hitsperhour=1"},
      {"smart_memory",
       {{"loglantern.conf", "SmartMemoryMaxMemoryToAllocate=500\nSmartMemoryKeepEntries=10\nSmartMemoryReclaimSize=100\n" + account},
        {"logs/access.log", ManyUrlsLog()}},
       "username=demo date=01012024 em=01 ed=01 ey=2024 requests=1,3"},
      {"debug", {{"loglantern.conf", site + "Debug=1\n"}, {"logs/notes.log", "nothing dated here\n"},
                 {"logs/old.log", "10.0.0.7 - - [01/Jan/2023:14:30:00 +0000] \"GET / HTTP/1.0\" 200 1\n"},
                 {"logs/webstar.log", Kept("webstar.log")}, {"logs/webstar-fields.log", Kept("webstar-fields.log")}},
       demo + " requests=1 hitsperhour=1 badurls=1"},
      {"auth_crypt_granted", crypt, demo + " password=lantern"},
      {"auth_crypt_refused", crypt, demo + " password=Lantern"},
      {"auth_wrong_password_cgi", {{"loglantern.conf", "ErrorLog=errors.log\n" + secret}},
       "POST username=demo&password=guess&date=01012024%2C01022024",
       {{"REMOTE_HOST", "client.example"}, {"REMOTE_ADDR", "203.0.113.9"}}},
      {"error_no_url", {{"loglantern.conf", "user=demo;password=*;logs=logs/*.log\n"}}, demo},
      {"error_no_logs_setting", {{"loglantern.conf", "user=demo;password=*;url=http://www.example.org\n"}}, demo},
      {"error_no_logs_found", {{"loglantern.conf", "user=demo;url=http://www.example.org;logs=none/*.log;accesslog=none/now.log\n"}}, demo},
      {"error_no_passwords_file", {{"loglantern.conf", "UserPasswords=none/pw\nuser=demo;password=;url=http://www.example.org;logs=logs/*.log\n"}},
       demo + " password=x"},
      {"auth_internal_ip_cgi", {{"loglantern.conf", "InternalIp=192.168.,10.0.\n" + secret}},
       "POST username=demo&date=01012024%2C01022024&requests=1%2C1", {{"REMOTE_ADDR", "10.0.3.4"}}},
  };
}

std::string GoldenDir() { return SourceDir() + "/tests/e2e/golden/"; }

// The page as it is kept: the report's date and elapsed time masked, and the
// texts that kept pages hold as placeholders (@CREDITS@, the byte 0x95 as
// @BULLET@, the test user's @USER@ and @GROUP@) put back in place.
std::string AsKept(const std::string& page) {
  static const std::regex date("(<b>Date of Report:</b></td><td width=\"50%\">)[^<]*"),
      elapsed("(Time required to generate report = )[^ ]*");
  std::string kept = std::regex_replace(std::regex_replace(page, date, "$1@DATE@"), elapsed, "$1@ELAPSED@");
  const passwd* user = getpwuid(getuid());
  const group* grp = getgrgid(getgid());
  const std::pair<std::string, std::string> marks[] = {
      {ReadFile(GoldenDir() + "credits.inc"), "@CREDITS@"},
      {"\x95", "@BULLET@"},
      {std::string("<b>User:</b> ") + (user ? user->pw_name : "?"), "<b>User:</b> @USER@"},
      {std::string("<b>Group:</b> ") + (grp ? grp->gr_name : "?"), "<b>Group:</b> @GROUP@"}};
  for (const auto& [text, mark] : marks)
    for (size_t at = kept.find(text); !text.empty() && at != std::string::npos; at = kept.find(text, at + mark.size()))
      kept.replace(at, text.size(), mark);
  return kept;
}

RunResult RunScenario(const Scenario& s, const TempDir& dir) {
  if (s.request.starts_with("POST ")) return PostToLoglantern(s.request.substr(5), s.env, dir.path());
  std::vector<std::string> words;
  std::istringstream in(s.request);
  for (std::string w; in >> w;) words.push_back(w);
  return RunLoglantern(words, s.env, "", dir.path());
}

void PrintTo(const Scenario& s, std::ostream* out) { *out << s.golden; }

class GoldenPage : public ::testing::TestWithParam<Scenario> {};

// A page that differs from the kept one is written beside the build for
// review or, with LOGLANTERN_UPDATE_GOLDEN=1, over the kept page.
TEST_P(GoldenPage, MatchesTheKeptPage) {
  const Scenario& s = GetParam();
  TempDir dir;
  Files files = s.files;
  files.insert({{"loglantern.conf", Kept("loglantern.conf")}, {"networks.txt", Kept("networks.txt")},
                {"logs/access.log", Kept("access.log")}});
  for (const auto& [path, content] : files) {
    std::filesystem::create_directories(std::filesystem::path(dir.file(path)).parent_path());
    WriteFile(dir.file(path), content);
  }
  RunResult r = RunScenario(s, dir), again = RunScenario(s, dir);
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  const std::string page = AsKept(r.out), keptPath = GoldenDir() + s.golden + ".html";
  EXPECT_EQ(page, ReadFile(keptPath));
  EXPECT_EQ(AsKept(again.out), page) << "the second run, with the summary file";
  if (page == ReadFile(keptPath)) return;
  const std::string path = getenv("LOGLANTERN_UPDATE_GOLDEN") ? keptPath : testing::TempDir() + s.golden + ".html";
  WriteFile(path, page);
  printf("page written to %s\n", path.c_str());
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenPage, ::testing::ValuesIn(Scenarios()),
                         [](const auto& info) { return info.param.golden; });

}  // namespace

// The real program over real servers' logs (../shared/data/real-logs): each
// set is one account, read as a whole-site request over its days plus one
// day on either side, and counted by the header's "HTTP Requests" row.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/test_support.h"

namespace fs = std::filesystem;
using namespace testing_support;

TEST(RealLogsAcceptance, EachSetCountsItsRequests) {
  const std::string root = SharedDir() + "/data/real-logs/";
  if (!fs::exists(root)) GTEST_SKIP() << "no real logs at " << root;
  // A folder (its *.log files) or one file; its first day - 1 and last day + 1; the "HTTP Requests" value
  // (empty when no log is in range); a text that the page holds exactly once.
  const struct { const char *source, *dates, *requests, *once; } sets[] = {
      {"iis-waikolai/W3SVC20", "08162009,01082011", "22,308", "<td>66.249.71</td>"},
      {"iis-webknowit/W3SVC1", "10162015,10192016", "14,318", "<td>::1</td>"},
      {"iis-webknowit/W3SVC2", "02052016,03012016", "6,830", "<td>::1</td>"},
      {"iis-doc-samples/ex031118.log", "11172003,11192003", "4", "W3C: IIS4<br>"},
      {"iis-doc-samples/ex960101.log", "12311995,01021996", "0", "WebStar Fields<br>"},
      {"logparser-demolog/hackers-access.log", "10242015,10312015", "3,443", "<td>2001:41d0:8:f69::1</td>"},
      {"elastic-examples/apache_logs", "05162015,05212015", "10,000", "CLF/ELF<br>"},
      {"nasa-http-dbai-labs/nasa_aug95_first20000.log", "07311995,08021995", "20,000", "CLF/ELF<br>"},
      {"monitorware-spark-log-analyzer/access_log", "03062004,03132004", "1,535", "CLF/ELF<br>"},
      {"apache-http-logs/w3af.txt", "12212016,12232016", "62", "CLF/ELF<br>"},
      {"apache-http-logs/acunetix.txt", "12212016,12232016", "", "No log files found"},
      {"debian-logstalgia/example.log", "04212009,04232009", "3,260", "CLF/ELF<br>"},
      {"debian-logswan/logswan.log", "12082018,12102018", "34", "CLF/ELF<br>"},
  };
  for (const auto& set : sets) {
    // The logs are linked into a scratch folder, where the summary file goes.
    TempDir dir;
    const fs::path source = root + set.source;
    std::vector<fs::path> logs{source};
    if (fs::is_directory(source)) logs.assign(fs::directory_iterator(source), fs::directory_iterator());
    for (const auto& log : logs) fs::create_symlink(log, dir.file(log.filename().string() + (log == source ? ".log" : "")));
    WriteFile(dir.file("loglantern.conf"), "user=a;url=http://x;logs=" + dir.file("*.log") + ";debug=1\n");
    const std::string page = RunLoglantern({"username=a", std::string("date=") + set.dates, "find=/", "subdirs=1",
                                            "domains=1,500", "domaintypes=1,20"}, {{"TZ", "UTC"}}, "", dir.path()).out;
    auto count = [&](const std::string& text) {
      return page.find(text) == std::string::npos ? 0 : page.find(text) == page.rfind(text) ? 1 : 2;
    };
    const std::string row = std::string("<b>HTTP Requests:</b></td><td width=\"50%\">") + set.requests + "<";
    EXPECT_EQ(count(row), *set.requests ? 1 : 0) << set.source;
    EXPECT_EQ(count(set.once), 1) << set.source << ": " << set.once;
  }
}

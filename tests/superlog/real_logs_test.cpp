// Logs written by real servers (see the shared SOURCES.md): the reader's
// hits per day must equal a count made here by simpler means, the byte
// count must equal the files' sizes, and the date-range scan must find the
// first and last stamps of the W3C logs.
//
// The logs are copied to a temporary folder first: discovery writes its
// summary file beside the logs.
#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "superlog_test_util.h"

namespace {

namespace fs = std::filesystem;
using sltest::ReaderTest;
using sltest::ScopedZone;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

using DayCounts = std::map<std::string, int>;

std::string RealLogsDir() { return testing_support::SharedDir() + "/data/real-logs"; }

// Physical lines, without their CR or LF, blank ones left out.
std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == '\r' || text[i] == '\n') {
      if (i > start) lines.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  return lines;
}

std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  size_t start = 0;
  for (size_t i = 0; i <= line.size(); ++i) {
    if (i == line.size() || line[i] == ' ') {
      words.push_back(line.substr(start, i - start));
      start = i + 1;
    }
  }
  return words;
}

// The day of a CLF stamp "10/Oct/1999:13:55:36 -0700" as "1999-10-10", or
// "" when it is no valid stamp.
std::string ClfDay(const std::string& stamp) {
  static const std::string kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  if (stamp.size() < 20 || stamp[2] != '/' || stamp[6] != '/' || stamp[11] != ':') return "";
  const size_t month = kMonths.find(stamp.substr(3, 3));
  if (month == std::string::npos || month % 3) return "";
  const std::string monthNumber = month < 27 ? "0" + std::to_string(month / 3 + 1) : std::to_string(month / 3 + 1);
  return stamp.substr(7, 4) + "-" + monthNumber + "-" + stamp.substr(0, 2);
}

// Hits per day of a combined or common log, counted without the reader:
// three plain words, a bracketed stamp, a quoted request whose URL is not
// "-".  A line that opens with a quote (a whole line wrapped in quotes by
// an export) has its first field end at the next quote and is no hit.
DayCounts CountClfLog(const std::string& text) {
  DayCounts days;
  for (const std::string& line : LinesOf(text)) {
    if (line[0] == '"' || line[0] == '#' || line[0] == '!') continue;
    const std::vector<std::string> w = Words(line);
    if (w.size() < 6 || w[3].empty() || w[3][0] != '[') continue;
    const size_t close = line.find("] \"");
    if (close == std::string::npos) continue;
    const std::string day = ClfDay(line.substr(line.find('[') + 1));
    const size_t end = line.find('"', close + 3);
    std::string request = line.substr(close + 3, end == std::string::npos ? std::string::npos : end - close - 3);
    if (request.size() > 243) request.resize(243);
    std::string url = request;
    if (const size_t blank = request.find(' '); blank != std::string::npos) {
      url = request.substr(blank + 1, request.find(' ', blank + 1) - blank - 1);
    }
    if (day.empty() || url == "-") continue;
    ++days[day];
  }
  return days;
}

// Hits per day of a W3C log read with the IIS 4 field names: every data
// line with a date and a URL stem other than "-".
DayCounts CountIisW3cLog(const std::string& text) {
  DayCounts days;
  int dateAt = -1, stemAt = -1;
  for (const std::string& line : LinesOf(text)) {
    if (line.rfind("#Fields: ", 0) == 0) {
      const std::vector<std::string> names = Words(line.substr(9));
      dateAt = static_cast<int>(std::find(names.begin(), names.end(), "date") - names.begin());
      stemAt = static_cast<int>(std::find(names.begin(), names.end(), "cs-uri-stem") - names.begin());
      continue;
    }
    if (line[0] == '#' || dateAt < 0) continue;
    const std::vector<std::string> w = Words(line);
    if (static_cast<int>(w.size()) <= std::max(dateAt, stemAt) || w[stemAt] == "-") continue;
    ++days[w[dateAt]];
  }
  return days;
}

struct WalkResult {
  DayCounts days;
  size_t files = 0;
  uint64_t bytesRead = 0;
};

// Reads every log of pattern through discovery and the walk.
WalkResult ReadLogs(const std::string& pattern) {
  SuperLog_ResetForTesting();
  StatsFields settings;
  settings.logs.set(pattern.c_str());
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  WalkResult result;
  LogHit hit;
  while (SuperLog_NextLogFile()) {
    ++result.files;
    while (SuperLog_ParseNextLine(&hit)) {
      EXPECT_NE(hit.url, nullptr);
      char day[16];
      strftime(day, sizeof day, "%Y-%m-%d", &hit.tm);
      ++result.days[day];
    }
  }
  SuperLog_NextLogFile_Done();
  SuperLong read;
  SuperLog_GetTotalLogBytesRead(&read);
  result.bytesRead = uint64_t{read.first} * 1000000000u + read.second;
  return result;
}

int Total(const DayCounts& days) {
  int total = 0;
  for (const auto& [day, count] : days) total += count;
  return total;
}

class RealLogs : public ReaderTest {
 protected:
  void SetUp() override {
    ReaderTest::SetUp();
    if (!fs::exists(RealLogsDir())) GTEST_SKIP() << "no real logs at " << RealLogsDir();
  }
  ScopedZone zone_{"UTC"};
};

TEST_F(RealLogs, CombinedAndCommonLogsAgreeWithASimpleCount) {
  const char* const logs[] = {
      "elastic-examples/apache_logs",       "nasa-http-dbai-labs/nasa_aug95_first20000.log",
      "monitorware-spark-log-analyzer/access_log", "logparser-demolog/hackers-access.log",
      "apache-http-logs/acunetix.txt",      "apache-http-logs/netsparker.txt",
      "apache-http-logs/w3af.txt",          "debian-logstalgia/example.log",
      "debian-logswan/logswan.log",
  };
  for (const char* log : logs) {
    TempDir dir;
    const std::string text = ReadFile(RealLogsDir() + "/" + log);
    WriteFile(dir.file("log"), text);
    const DayCounts expected = CountClfLog(text);
    const WalkResult got = ReadLogs(dir.file("log"));
    EXPECT_EQ(got.days, expected) << log;
    if (Total(expected) > 0) {
      EXPECT_EQ(got.files, 1u) << log;
      EXPECT_EQ(got.bytesRead, text.size()) << log;
    }
  }
}

TEST_F(RealLogs, CountsOfTheBusiestLogs) {
  // Guards the simple count itself: figures from the logs' own description.
  EXPECT_EQ(Total(CountClfLog(ReadFile(RealLogsDir() + "/elastic-examples/apache_logs"))), 10000);
  EXPECT_EQ(Total(CountClfLog(ReadFile(RealLogsDir() + "/nasa-http-dbai-labs/nasa_aug95_first20000.log"))), 20000);
  EXPECT_EQ(Total(CountClfLog(ReadFile(RealLogsDir() + "/apache-http-logs/w3af.txt"))), 62);
  EXPECT_EQ(Total(CountClfLog(ReadFile(RealLogsDir() + "/apache-http-logs/netsparker.txt"))), 0);
}

// The folders of daily W3C logs, copied; with rewriteSoftware the
// "#Software:" lines name the IIS 4 server so that the IIS 4 field names
// apply.  Returns the copies' folder pattern.
std::string CopyW3cLogs(const TempDir& dir, bool rewriteSoftware, std::vector<std::string>* texts) {
  for (const char* folder : {"iis-waikolai/W3SVC20", "iis-webknowit/W3SVC1", "iis-webknowit/W3SVC2"}) {
    for (const auto& entry : fs::directory_iterator(RealLogsDir() + "/" + folder)) {
      std::string text = ReadFile(entry.path().string());
      if (rewriteSoftware) {
        const std::string from = "Internet Information Services", to = "Internet Information Server";
        for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
          text.replace(at, from.size(), to);
        }
      }
      const std::string name = std::string(folder).substr(std::string(folder).rfind('/') + 1) + "-" +
                               entry.path().filename().string();
      WriteFile(dir.file(name), text);
      texts->push_back(text);
    }
  }
  return dir.file("*.log");
}

TEST_F(RealLogs, W3cLogsOfLaterIisVersionsGiveNoHits) {
  // Their "#Software:" lines say "Services", so "#Fields:" is read with the
  // upper-case WebSTAR names and no field is known.
  TempDir dir;
  std::vector<std::string> texts;
  const WalkResult got = ReadLogs(CopyW3cLogs(dir, false, &texts));
  EXPECT_TRUE(got.days.empty());
  EXPECT_GT(got.files, 800u);
}

TEST_F(RealLogs, W3cLogsReadAsIis4AgreeWithASimpleCount) {
  TempDir dir;
  std::vector<std::string> texts;
  const std::string pattern = CopyW3cLogs(dir, true, &texts);
  DayCounts expected;
  uint64_t bytes = 0;
  for (const std::string& text : texts) {
    for (const auto& [day, count] : CountIisW3cLog(text)) expected[day] += count;
    bytes += text.size();
  }
  const WalkResult got = ReadLogs(pattern);
  EXPECT_EQ(got.days, expected);
  EXPECT_EQ(Total(expected), 22308 + 14318 + 6830);
  EXPECT_EQ(got.bytesRead, bytes);

  // Agents of IIS 4 logs come URL-decoded.
  SuperLog_ResetForTesting();
  const auto hits = sltest::ParseFile(dir.file("W3SVC20-u_ex090817.log"));
  ASSERT_FALSE(hits.empty());
  EXPECT_EQ(hits[0].agent,
            "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1; WOW64; Trident/4.0; SLCC2; .NET CLR 2.0.50727; "
            ".NET CLR 3.5.30729; .NET CLR 3.0.30729; Media Center PC 6.0)");
  EXPECT_EQ(hits[0].url, "/");
  EXPECT_EQ(hits[0].host, "69.115.226.165");
  EXPECT_EQ(hits[0].realm, "67.222.136.138");
  EXPECT_EQ(hits[0].bytes, 944);
}

// The first and last data-line stamps "date time" of a W3C log.
std::pair<std::string, std::string> W3cStampRange(const std::string& text) {
  std::string first, last;
  for (const std::string& line : LinesOf(text)) {
    if (line[0] == '#') continue;
    const std::vector<std::string> w = Words(line);
    if (w.size() < 2) continue;
    const std::string stamp = w[0] + " " + w[1];
    if (first.empty()) first = stamp;
    last = stamp;
  }
  return {first, last};
}

std::string Stamp(ll::time32_t t) {
  struct tm tm;
  ll::Localtime32(t, &tm);
  char buf[32];
  strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
  return buf;
}

TEST_F(RealLogs, DateRangeScanFindsTheW3cStamps) {
  sltest::StartReaderWithoutLogs();
  size_t checked = 0;
  for (const char* folder : {"iis-waikolai/W3SVC20", "iis-webknowit/W3SVC1", "iis-webknowit/W3SVC2"}) {
    for (const auto& entry : fs::directory_iterator(RealLogsDir() + "/" + folder)) {
      const auto [first, last] = W3cStampRange(ReadFile(entry.path().string()));
      mState.mLogSummaryItem = {};
      ll::CopyText(mState.mLogSummaryItem.name, entry.path().c_str());
      mState.mCurFileSize = static_cast<uint32_t>(fs::file_size(entry.path()));
      GetLogFileDateRange();
      const LogSummaryItem& item = mState.mLogSummaryItem;
      if (first.empty()) {
        EXPECT_EQ(item.start, 0) << entry.path();
        continue;
      }
      EXPECT_EQ(Stamp(item.start), first) << entry.path();
      EXPECT_EQ(Stamp(item.end), last) << entry.path();
      ++checked;
    }
  }
  EXPECT_GT(checked, 800u);
}

TEST_F(RealLogs, VendorSamplesGiveNoHits) {
  // No "#Software:" line, or "Services": unknown fields.  The native IIS
  // sample writes the year 01, which is 1901 and cannot be represented.
  for (const char* sample : {"ex960101.log", "ex031118.log", "ex010320.log"}) {
    SuperLog_ResetForTesting();
    EXPECT_TRUE(sltest::ParseFile(RealLogsDir() + "/iis-doc-samples/" + sample).empty()) << sample;
  }
  EXPECT_EQ(mState.mCurLogFormat, 3);  // the native sample was recognised as IIS
}

}  // namespace

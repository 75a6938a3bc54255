// Logs written by real servers (see the shared SOURCES.md): hits per day
// must equal a count made here by simpler means, and the bytes read must
// equal the files' sizes.  The logs are read from copies, because
// discovery writes its summary file beside them.
#include <algorithm>
#include <filesystem>
#include <map>

#include "superlog_test_util.h"

namespace {

namespace fs = std::filesystem;
using sltest::ReaderTest;
using testing_support::ReadFile;
using testing_support::TempDir;
using DayCounts = std::map<std::string, int>;

std::string RealLogsDir() { return testing_support::SharedDir() + "/data/real-logs"; }

// Physical lines without their CR or LF; blank ones left out.
std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0, i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] != '\r' && text[i] != '\n') continue;
    if (i > start) lines.push_back(text.substr(start, i - start));
    start = i + 1;
  }
  return lines;
}

std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  for (size_t start = 0, blank = 0; blank != std::string::npos; start = blank + 1) {
    blank = line.find(' ', start);
    words.push_back(line.substr(start, blank - start));
  }
  return words;
}

// Hits per day of a combined or common log: three plain words, a stamp
// "[dd/Mon/yyyy:...", a quoted request whose URL is not "-".  A line wrapped
// whole in quotes has its first field end at the next quote: no hit.
DayCounts CountClfLog(const std::string& text) {
  static const std::string kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  DayCounts days;
  for (const std::string& line : LinesOf(text)) {
    const std::vector<std::string> w = Words(line);
    const size_t close = line.find("] \"");
    if (line[0] == '"' || w.size() < 6 || w[3].size() < 21 || w[3][0] != '[' || close == std::string::npos) continue;
    const size_t month = kMonths.find(w[3].substr(4, 3));
    if (month == std::string::npos || month % 3 || w[3][3] != '/' || w[3][7] != '/') continue;
    std::string request = line.substr(close + 3, line.find('"', close + 3) - close - 3).substr(0, 243);
    const size_t blank = request.find(' ');
    if (blank != std::string::npos) request = request.substr(blank + 1, request.find(' ', blank + 1) - blank - 1);
    if (request == "-") continue;
    ++days[w[3].substr(8, 4) + "-" + (month < 27 ? "0" : "") + std::to_string(month / 3 + 1) + "-" + w[3].substr(1, 2)];
  }
  return days;
}

// Hits per day of a W3C log read with the IIS 4 names: every data line
// with a date and a URL stem other than "-".
DayCounts CountIisW3cLog(const std::string& text) {
  DayCounts days;
  size_t dateAt = 0, stemAt = SIZE_MAX;
  for (const std::string& line : LinesOf(text)) {
    if (line.rfind("#Fields: ", 0) == 0) {
      const std::vector<std::string> names = Words(line.substr(9));
      dateAt = std::find(names.begin(), names.end(), "date") - names.begin();
      stemAt = std::find(names.begin(), names.end(), "cs-uri-stem") - names.begin();
    } else if (line[0] != '#' && stemAt != SIZE_MAX) {
      const std::vector<std::string> w = Words(line);
      if (w.size() > std::max(dateAt, stemAt) && w[stemAt] != "-") ++days[w[dateAt]];
    }
  }
  return days;
}

// Hits per day of every log of pattern, through discovery and the walk.
DayCounts ReadLogs(const std::string& pattern, uint64_t* bytesRead) {
  SuperLog_ResetForTesting();
  StatsFields settings;
  settings.logs.set(pattern.c_str());
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  DayCounts days;
  LogHit hit;
  while (SuperLog_NextLogFile()) {
    while (SuperLog_ParseNextLine(&hit)) {
      char day[16];
      strftime(day, sizeof day, "%Y-%m-%d", &hit.tm);
      ++days[day];
    }
  }
  SuperLong read;
  SuperLog_GetTotalLogBytesRead(&read);
  *bytesRead = uint64_t{read.first} * 1000000000u + read.second;
  return days;
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
  sltest::ScopedZone utc_{"UTC"};
};

TEST_F(RealLogs, CombinedAndCommonLogsAgreeWithASimpleCount) {
  const std::pair<const char*, int> logs[] = {
      {"elastic-examples/apache_logs", 10000}, {"nasa-http-dbai-labs/nasa_aug95_first20000.log", 20000},
      {"monitorware-spark-log-analyzer/access_log", -1}, {"logparser-demolog/hackers-access.log", -1},
      {"apache-http-logs/acunetix.txt", 0}, {"apache-http-logs/netsparker.txt", 0},
      {"apache-http-logs/w3af.txt", 62}, {"debian-logstalgia/example.log", -1}, {"debian-logswan/logswan.log", -1},
  };
  for (const auto& [log, total] : logs) {
    TempDir dir;
    const std::string text = ReadFile(RealLogsDir() + "/" + log);
    testing_support::WriteFile(dir.file("log"), text);
    const DayCounts expected = CountClfLog(text);
    if (total >= 0) {
      EXPECT_EQ(Total(expected), total) << log;  // guards the simple count
    }
    uint64_t bytes = 0;
    EXPECT_EQ(ReadLogs(dir.file("log"), &bytes), expected) << log;
    if (total != 0) {
      EXPECT_EQ(bytes, text.size()) << log;
    }
  }
}

TEST_F(RealLogs, W3cLogsOfIis) {
  TempDir asWritten, asIis4;
  DayCounts expected;
  uint64_t size = 0;
  for (const char* folder : {"iis-waikolai/W3SVC20", "iis-webknowit/W3SVC1", "iis-webknowit/W3SVC2"}) {
    for (const auto& entry : fs::directory_iterator(RealLogsDir() + "/" + folder)) {
      std::string text = ReadFile(entry.path().string());
      const std::string name = fs::path(folder).filename().string() + "-" + entry.path().filename().string();
      testing_support::WriteFile(asWritten.file(name), text);
      // Naming the IIS 4 server makes the IIS 4 field names apply.
      for (size_t at = 0; (at = text.find("Information Services", at)) != std::string::npos;) {
        text.replace(at, 20, "Information Server");
      }
      testing_support::WriteFile(asIis4.file(name), text);
      for (const auto& [day, count] : CountIisW3cLog(text)) expected[day] += count;
      size += text.size();
    }
  }
  // As written ("Information Services"), the logs read like IIS 4 logs.
  uint64_t bytes = 0;
  EXPECT_EQ(ReadLogs(asWritten.file("*.log"), &bytes), expected);
  EXPECT_EQ(ReadLogs(asIis4.file("*.log"), &bytes), expected);
  EXPECT_EQ(Total(expected), 22308 + 14318 + 6830);
  EXPECT_EQ(bytes, size);

  SuperLog_ResetForTesting();
  const std::vector<std::string> hits = sltest::ParseText(ReadFile(asIis4.file("W3SVC20-u_ex090817.log")));
  EXPECT_EQ(hits.at(0),
            "69.115.226.165 / 200 944 agent=Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1; WOW64; Trident/4.0; "
            "SLCC2; .NET CLR 2.0.50727; .NET CLR 3.5.30729; .NET CLR 3.0.30729; Media Center PC 6.0) "
            "realm=67.222.136.138 @2009-08-17 05:30:52");
}

TEST_F(RealLogs, VendorSamplesGiveNoHits) {
  // No "#Software:" line: no field is known.  The native IIS sample writes
  // the year 01, which is 1901 and cannot be represented.
  for (const char* sample : {"ex960101.log", "ex010320.log"}) {
    SuperLog_ResetForTesting();
    EXPECT_TRUE(sltest::ParseText(ReadFile(RealLogsDir() + "/iis-doc-samples/" + sample)).empty()) << sample;
  }
  EXPECT_EQ(mState.mCurLogFormat, 3);  // the native sample is recognised as IIS
}

}  // namespace

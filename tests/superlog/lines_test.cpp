// Lines into hit records: one fixture per log format, the post-processing
// of fields, line ends and cuts, and the count of log bytes read.
#include <random>
#include <sstream>

#include "superlog_test_util.h"

namespace {

using sltest::Local;
using sltest::ParseText;
using sltest::ReaderTest;
using sltest::ScopedZone;
using Hits = std::vector<std::string>;

// log_formats.txt holds, per log format, a log and the hits it must give,
// under "=== name|date order|log format" (either setting may be empty).
TEST_F(ReaderTest, EveryLogFormat) {
  std::istringstream in(testing_support::ReadFile(testing_support::SourceDir() + "/tests/superlog/log_formats.txt"));
  std::string line, name, log;
  Hits hits;
  bool inHits = false;
  int formats = 0;
  auto check = [&] {
    if (name.empty()) return;
    const size_t bar = name.find('|'), bar2 = name.find('|', bar + 1);
    SuperLog_ResetForTesting();
    if (bar2 > bar + 1) SuperLog_SetDateFormat(name.substr(bar + 1, bar2 - bar - 1).c_str(), kSourceForm);
    if (bar2 + 1 < name.size()) SuperLog_SetLogFormat(name.substr(bar2 + 1).c_str(), kSourceGlobal);
    EXPECT_EQ(ParseText(log), hits) << name;
    ++formats;
  };
  while (std::getline(in, line)) {
    if (line.rfind("=== ", 0) == 0) {
      check();
      name = line.substr(4), log.clear(), hits.clear(), inHits = false;
    } else if (line == "--- hits") {
      inHits = true;
    } else if (!name.empty()) {
      if (inHits) hits.push_back(line);
      else log += line + "\n";
    }
  }
  check();
  EXPECT_EQ(formats, 12);
}

TEST_F(ReaderTest, StampsAreLocalTimeAndFixGmtMovesThemByTheStandardOffset) {
  const std::string text = "1.2.3.4 - - [10/Jan/1999:13:55:36 +0000] \"GET / HTTP/1.0\" 200 1\n"
                           "1.2.3.4 - - [10/Jul/1999:13:55:36 +0000] \"GET / HTTP/1.0\" 200 1\n";
  for (const char* zone : {"America/New_York", "Europe/Berlin", "Asia/Kolkata"}) {
    ScopedZone scoped(zone);
    SuperLog_ResetForTesting();
    std::vector<ll::time32_t> times;
    EXPECT_EQ(ParseText(text, &times)[1], "1.2.3.4 / 200 1 @1999-07-10 13:55:36") << zone;
    EXPECT_EQ(times[1], Local(1999, 7, 10, 13, 55, 36)) << zone;
  }
  ScopedZone zone("America/New_York");
  SuperLog_ResetForTesting();
  SuperLog_SetFixGmt("1", kSourceForm);
  std::vector<ll::time32_t> times;
  EXPECT_EQ(ParseText(text + "1.2.3.4 - - [10/Oct/1901:13:55:36 +0000] \"GET /1901 HTTP/1.0\" 200 1\n", &times),
            (Hits{"1.2.3.4 / 200 1 @1999-01-10 08:55:36", "1.2.3.4 / 200 1 @1999-07-10 08:55:36",
                  // mktime fails; the shift makes it a time before 1970
                  "1.2.3.4 /1901 200 1 @1969-12-31 13:59:59"}));
  EXPECT_EQ(times[2], -1 - 18000);
}

TEST_F(ReaderTest, DatesOutsideThe32BitRangeAreDropped) {
  std::string text;
  for (const char* when : {"10/Oct/1901:13:55:36", "19/Jan/2038:03:14:07", "19/Jan/2038:03:14:08",
                           "01/Jan/1970:00:00:00", "31/Dec/1969:23:59:59", "31/Dec/1969:23:59:58"}) {
    text += std::string("1.2.3.4 - - [") + when + " +0000] \"GET / HTTP/1.0\" 200 1\n";
  }
  EXPECT_EQ(ParseText(text), (Hits{"1.2.3.4 / 200 1 @2038-01-19 03:14:07", "1.2.3.4 / 200 1 @1969-12-31 23:59:58"}));
}

TEST_F(ReaderTest, LongFieldsLinesAndOddLineEnds) {
  const std::string stamp = " - - [10/Oct/1999:13:55:36 -0700] ";
  const std::string longUrl = "/" + std::string(300, 'u');
  const Hits hits = ParseText("\r\n\n1.2.3.4" + stamp + "\"GET " + longUrl + " HTTP/1.0\" 200 1 \"" +
                              std::string(5000, 'r') + "\"\r" + "5.6.7.8" + stamp + "\"GET /b\xff HTTP/1.0\" 200 2\r\n\r\n" +
                              std::string("\0\n;comment\n", 11) + "9.9.9.9" + stamp + "\"GET /c HTTP/1.0\" 200 3");
  ASSERT_EQ(hits.size(), 3u);
  // The request is cut at 243 characters before its URL is taken; the
  // 5000-character line keeps 1535 and its referrer 243 of them.
  EXPECT_EQ(hits[0], "1.2.3.4 " + longUrl.substr(0, 239) + " 200 1 ref=" + std::string(243, 'r') +
                         " @1999-10-10 13:55:36");
  EXPECT_EQ(hits[1], "5.6.7.8 /b\xff 200 2 @1999-10-10 13:55:36");
  EXPECT_EQ(hits[2], "9.9.9.9 /c 200 3 @1999-10-10 13:55:36");  // no line end after the last line
  // A joined URL is cut at 243 characters as a whole.
  SuperLog_ResetForTesting();
  EXPECT_EQ(ParseText("#Software: Microsoft Internet Information Server 4.0\n#Fields: date cs-uri-stem cs-uri-query\n"
                      "1999-10-23 /" + std::string(200, 's') + " q=" + std::string(200, 'q') + "\n"),
            Hits{"() /" + std::string(200, 's') + "?q=" + std::string(39, 'q') + " 0 0 @1999-10-23 00:00:00"});
}

TEST_F(ReaderTest, SuperLongAndLeadingIntegers) {
  SuperLong c, exact;
  SuperLongAdd(&c, 600000000);
  SuperLongAdd(&c, 600000000);
  EXPECT_EQ(std::make_pair(c.first, c.second), std::make_pair(1u, 200000000u));
  EXPECT_DOUBLE_EQ(SuperLongToDouble(c), 1.2e9);
  SuperLongAdd(&exact, 999999999);
  SuperLongAdd(&exact, 1);  // exactly 10^9 stays in the second word
  EXPECT_EQ(std::make_pair(exact.first, exact.second), std::make_pair(0u, 1000000000u));
  SuperLongAdd(&exact, 4294967295u);
  EXPECT_EQ(std::make_pair(exact.first, exact.second), std::make_pair(5u, 294967295u));
  for (const char* text : {"200", " 42x", "-", "", "+7", "-13", "\t\n 9", "2147483648", "99999999999999999999",
                           "-99999999999999999999", "0x10"}) {
    EXPECT_EQ(LeadingInteger(text), static_cast<int32_t>(atol(text))) << text;
  }
}

// ---- the count of log bytes read

// A reader of 8192-byte blocks taking one byte at a time, as the count is
// defined: the line read, and the bytes fetched so far.
struct BlockReaderModel {
  const std::string& data;
  size_t fetched = 0, pos = 0;

  int Next() {
    if (pos == fetched) {
      if (fetched >= data.size()) return -1;
      fetched = std::min(data.size(), fetched + 8192);
    }
    return static_cast<unsigned char>(data[pos++]);
  }
  std::string ReadLine() {
    std::string line;
    int c;
    while ((c = Next()) == '\r' || c == '\n') {
    }
    for (; c != -1 && c != '\r' && c != '\n'; c = Next()) {
      if (line.size() == 1535) {
        while ((c = Next()) != -1 && c != '\r' && c != '\n') {
        }
        break;
      }
      line.push_back(static_cast<char>(c));
    }
    return line;
  }
};

uint64_t BytesRead() {
  SuperLong s;
  SuperLog_GetTotalLogBytesRead(&s);
  return uint64_t{s.first} * 1000000000u + s.second;
}

TEST_F(ReaderTest, LinesAndByteCountsMatchAByteByByteBlockReader) {
  std::mt19937 rng(7);
  testing_support::TempDir dir;
  for (int round = 0; round < 40; ++round) {
    std::string text;
    const size_t target = rng() % 3 == 0 ? rng() % 3000 : 8192 * (1 + rng() % 40) + rng() % 300 - 150;
    while (text.size() < target) {
      const size_t len = rng() % 10 == 0 ? 1400 + rng() % 4000 : rng() % 200;
      for (size_t i = 0; i < len; ++i) text.push_back(static_cast<char>(' ' + rng() % 200));
      const char* ends[] = {"\n", "\r\n", "\r", "\n\n", "\r\n\r\n"};
      text += ends[rng() % 5];
    }
    if (rng() % 2) text.resize(target);
    testing_support::WriteFile(dir.file("log"), text);
    SuperLog_ResetForTesting();
    mState.mhFile = fopen(dir.file("log").c_str(), "rb");
    BlockReaderModel model{text};
    const int stopAfter = rng() % 2 ? static_cast<int>(rng() % 200) : INT_MAX;  // abandoned early
    for (int n = 0; n <= stopAfter; ++n) {
      const std::string expected = model.ReadLine();
      ReadLineFromBigBuf();
      ASSERT_EQ(std::string(mState.mLineBuf, static_cast<size_t>(mState.mLineLen)), expected) << round << ":" << n;
      ASSERT_EQ(BytesRead(), model.fetched) << round << ":" << n;
      if (expected.empty()) break;
    }
  }
}

TEST_F(ReaderTest, BytesReadAddUpOverFilesAndAbandonedFiles) {
  testing_support::TempDir dir;
  std::string text;
  for (int i = 0; text.size() < 20000; ++i) {
    text += "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /" + std::to_string(i) + " HTTP/1.0\" 200 1\n";
  }
  testing_support::WriteFile(dir.file("a.log"), text);
  testing_support::WriteFile(dir.file("b.log"), text + text);
  StatsFields settings;
  settings.logs.set(dir.file("*.log").c_str());
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  LogHit hit;
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  ASSERT_EQ(SuperLog_ParseNextLine(&hit), 1);  // the caller stops after the first hit
  EXPECT_EQ(BytesRead(), 8192u);
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  while (SuperLog_ParseNextLine(&hit)) {
  }
  EXPECT_EQ(SuperLog_NextLogFile(), 0);
  EXPECT_EQ(BytesRead(), 8192u + 2 * text.size());
}

}  // namespace

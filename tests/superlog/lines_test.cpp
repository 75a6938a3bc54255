// Lines into hit records: one log per log format, counters, ports cut from
// hosts, and the lines and count of log bytes of the block reader.
#include <random>
#include <sstream>

#include "superlog_test_util.h"

namespace {

using sltest::ReaderTest;

// log_formats.txt holds, per log format, a log and the hits it must give,
// under "=== name|date order|log format" (either setting may be empty).
TEST_F(ReaderTest, EveryLogFormat) {
  std::istringstream in(testing_support::ReadFile(testing_support::SourceDir() + "/tests/superlog/log_formats.txt"));
  std::string line, name, log;
  std::vector<std::string> hits;
  int formats = 0;
  const auto check = [&] {
    if (name.empty()) return;
    const size_t bar = name.find('|'), bar2 = name.find('|', bar + 1);
    SuperLog_ResetForTesting();
    if (bar2 > bar + 1) SuperLog_SetDateFormat(name.substr(bar + 1, bar2 - bar - 1).c_str(), kSourceForm);
    if (bar2 + 1 < name.size()) SuperLog_SetLogFormat(name.substr(bar2 + 1).c_str(), kSourceGlobal);
    EXPECT_EQ(sltest::ParseText(log.substr(0, log.find("--- hits\n"))), hits) << name;
    ++formats;
  };
  while (std::getline(in, line)) {
    if (line.rfind("=== ", 0) == 0) {
      check();
      name = line.substr(4), log.clear(), hits.clear();
    } else if (!name.empty()) {
      if (log.find("--- hits\n") != std::string::npos) hits.push_back(line);
      log += line + "\n";
    }
  }
  check();
  EXPECT_EQ(formats, 12);
}

// 64-bit counts carry at a billion; leading integers read like atol; a port
// is cut from IPv4 addresses and names, while IPv6 addresses stay whole and
// only their bracketed form loses the brackets and any port.
TEST_F(ReaderTest, CountersIntegersAndPortsCut) {
  SuperLong c;
  for (uint32_t add : {600000000u, 399999999u, 1u, 4294967295u}) SuperLongAdd(&c, add);
  EXPECT_EQ(std::to_string(c.first) + " " + std::to_string(c.second) + " " + std::to_string(SuperLongToDouble(c)),
            "5 294967295 5294967295.000000");
  for (const char* text : {" 42x", "-", "+7", "\t\n 9", "2147483648", "99999999999999999999", "-99999999999999999999"}) {
    EXPECT_EQ(LeadingInteger(text), static_cast<int32_t>(atol(text))) << text;
  }
  for (const auto& [host, expected] : {std::pair{"1.2.3.4:8080", "1.2.3.4"}, {"proxy:", "proxy"}, {"2001:41d0:8:f69::1", ""},
                                       {"[2001:db8::7]", "2001:db8::7"}, {"[::1]:8080", "::1"}, {"[::1]x", ""}, {"[1.2.3.4]:80", "[1.2.3.4]"}}) {
    char buf[64];
    TrimPort(strcpy(buf, host));
    EXPECT_STREQ(buf, *expected ? expected : host);
  }
}

// Random logs of short and long lines (some longer than the line buffer), read
// wholly or abandoned early, around the reader's own fetch size.  The lines are
// those of the text, cut at 1535 bytes, and the count is that of a reader of
// 8192-byte blocks taking one byte at a time: the blocks holding every byte up
// to the line's end, or the whole file at its end.
TEST_F(ReaderTest, LinesAndByteCountsMatchAByteByByteBlockReader) {
  std::mt19937 rng(7);
  testing_support::TempDir dir;
  for (int round = 0; round < 40; ++round) {
    std::string text;
    const size_t target = rng() % 3 == 0 ? rng() % 3000 : kReadChunk * (1 + rng() % 2) + rng() % 20000 - 10000;
    while (text.size() < target) {
      const size_t len = rng() % 10 == 0 ? 1400 + rng() % 4000 : rng() % 200;
      for (size_t i = 0; i < len; ++i) text.push_back(static_cast<char>(' ' + rng() % 200));
      text += std::vector<const char*>{"\n", "\r\n", "\r", "\n\n", "\r\n\r\n"}[rng() % 5];
    }
    if (rng() % 2) text.resize(target);
    testing_support::WriteFile(dir.file("log"), text);
    SuperLog_ResetForTesting();
    mState.mhFile = fopen(dir.file("log").c_str(), "rb");
    const int stopAfter = rng() % 4 ? INT_MAX : static_cast<int>(rng() % 200);  // abandoned early
    for (size_t n = 0, pos = 0; n <= static_cast<size_t>(stopAfter); ++n) {
      pos = std::min(text.find_first_not_of("\r\n", pos), text.size());
      const size_t end = std::min(text.find_first_of("\r\n", pos), text.size());
      const std::string expected = text.substr(pos, std::min<size_t>(end - pos, 1535));
      pos = std::min(end + 1, text.size());
      ReadLineFromBigBuf();
      ASSERT_EQ(std::string(mState.mLineBuf, static_cast<size_t>(mState.mLineLen)), expected) << round << ":" << n;
      SuperLong read;
      SuperLog_GetTotalLogBytesRead(&read);
      ASSERT_EQ(uint64_t{read.first} * 1000000000u + read.second, std::min<uint64_t>(text.size(), (pos + 8191) / 8192 * 8192))
          << round << ":" << n;
      if (expected.empty()) break;
    }
  }
}

}  // namespace

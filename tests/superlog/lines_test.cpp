// Lines into hit records: one log per log format, the 64-bit counters, ports
// cut from hosts, and the lines and count of log bytes of the block reader.
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

TEST_F(ReaderTest, SuperLongCarriesAtABillionAndLeadingIntegersReadLikeAtol) {
  SuperLong c;
  for (uint32_t add : {600000000u, 399999999u, 1u, 4294967295u}) SuperLongAdd(&c, add);
  EXPECT_EQ(std::make_pair(c.first, c.second), std::make_pair(5u, 294967295u));
  EXPECT_DOUBLE_EQ(SuperLongToDouble(c), 5294967295.0);
  for (const char* text : {" 42x", "-", "+7", "-13", "\t\n 9", "2147483648", "99999999999999999999", "-99999999999999999999"}) {
    EXPECT_EQ(LeadingInteger(text), static_cast<int32_t>(atol(text))) << text;
  }
}

// A port is cut from IPv4 addresses and names; IPv6 addresses stay whole, and
// only their bracketed form loses the brackets and any port.
TEST(TrimPort, CutsPortsButKeepsIpv6Addresses) {
  for (const auto& [host, expected] : {std::pair{"1.2.3.4:8080", "1.2.3.4"}, {"proxy:", "proxy"}, {"::1", "::1"},
                                       {"2001:41d0:8:f69::1", "2001:41d0:8:f69::1"}, {"[2001:db8::7]", "2001:db8::7"},
                                       {"[::1]:8080", "::1"}, {"[::1]x", "[::1]x"}, {"[1.2.3.4]:80", "[1.2.3.4]"}}) {
    char buf[64];
    TrimPort(strcpy(buf, host));
    EXPECT_STREQ(buf, expected) << host;
  }
}

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
    while ((c = Next()) == '\r' || c == '\n') continue;
    for (; c != -1 && c != '\r' && c != '\n'; c = Next()) {
      if (line.size() < 1535) line.push_back(static_cast<char>(c));
    }
    return line;
  }
};

// Random logs of short and long lines (some longer than the line buffer),
// read wholly or abandoned early, around the reader's own fetch size.
TEST_F(ReaderTest, LinesAndByteCountsMatchAByteByByteBlockReader) {
  std::mt19937 rng(7);
  testing_support::TempDir dir;
  for (int round = 0; round < 40; ++round) {
    std::string text;
    const size_t target = rng() % 3 == 0 ? rng() % 3000 : kReadChunk * (1 + rng() % 2) + rng() % 20000 - 10000;
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
    const int stopAfter = rng() % 4 ? INT_MAX : static_cast<int>(rng() % 200);  // abandoned early
    for (int n = 0; n <= stopAfter; ++n) {
      const std::string expected = model.ReadLine();
      ReadLineFromBigBuf();
      ASSERT_EQ(std::string(mState.mLineBuf, static_cast<size_t>(mState.mLineLen)), expected) << round << ":" << n;
      SuperLong s;
      SuperLog_GetTotalLogBytesRead(&s);
      ASSERT_EQ(uint64_t{s.first} * 1000000000u + s.second, model.fetched) << round << ":" << n;
      if (expected.empty()) break;
    }
  }
}

}  // namespace

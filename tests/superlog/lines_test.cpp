// Lines into hits, one log per log format; the block reader's lines and count.
#include <unistd.h>

#include <random>

#include "superlog_test_util.h"

namespace {

using sltest::ReaderTest;

// The hits of a log text read by the line parser, a line each: "host url status
// bytes [ref=..] [agent=..] [realm=..] [user=..] @local time" (null host "()").
std::string ParseText(const std::string& text) {
  testing_support::TempDir dir;
  testing_support::WriteFile(dir.file("log"), text);
  StatsFields settings;
  settings.logs.set("/nonexistent-loglantern-dir/none");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  mState.mhFile = fopen(dir.file("log").c_str(), "rb");
  std::string hits;
  for (LogHit h; SuperLog_ParseNextLine(&h);) {
    hits += std::string(h.host ? h.host : "()") + " " + h.url + " " + std::to_string(h.status) + " " + std::to_string(h.bytes);
    for (const auto& [label, text] : {std::pair{" ref=", h.referrer}, {" agent=", h.agent}, {" realm=", h.realm}, {" user=", h.user}}) {
      if (text) hits += label + std::string(text);
    }
    char when[32];
    strftime(when, sizeof when, " @%Y-%m-%d %H:%M:%S\n", &h.tm);
    hits += when;
  }
  SuperLog_NextLogFile_Done();
  return hits;
}

// log_formats.txt holds, per log format, a log and the hits it must give,
// under "=== name|date order|log format" (either setting may be empty).
// Each is read with the searches this processor has and with the narrow ones.
TEST_F(ReaderTest, EveryLogFormat) {
  const std::string all = testing_support::ReadFile(testing_support::SourceDir() + "/tests/superlog/log_formats.txt");
  int formats = 0;
  for (bool narrow : {false, true})
  for (size_t at = all.find("\n=== "), next; at != std::string::npos; at = next, formats += !narrow) {
    next = all.find("\n=== ", at + 1);
    const size_t eol = all.find('\n', at + 1), split = all.find("--- hits\n", eol);
    const std::string name = all.substr(at + 5, eol - at - 5);
    const size_t bar = name.find('|'), bar2 = name.find('|', bar + 1);
    SuperLog_ResetForTesting();
    mState.mWideSearch = mState.mWideSearch && !narrow;
    SuperLog_SetDateFormat(name.substr(bar + 1, bar2 - bar - 1).c_str(), kSourceForm);  // an empty one sets nothing
    SuperLog_SetLogFormat(name.substr(bar2 + 1).c_str(), kSourceGlobal);
    if (bar2 + 1 < name.size()) SuperLog_SetLogFormat("C", kSourceForm);  // a lower source never replaces it
    EXPECT_EQ(ParseText(all.substr(eol + 1, split - eol - 1)), all.substr(split + 9, next - split - 8)) << name << narrow;
  }
  EXPECT_EQ(formats, 14);
}

// Random logs of short and long lines, read wholly or abandoned early, around
// the reader's fetch size: the lines of the text cut at 1535 bytes, and the
// count of 8192-byte blocks up to each line's end (all of the file at its end).
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
    mState.mWideSearch = mState.mWideSearch && round % 2;  // the narrow line-end search in every other round
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

// A log cut short while it is read (rotated by truncation) ends where the
// reader meets the cut, without a crash and without lines made of what is
// gone.
TEST_F(ReaderTest, ALogTruncatedWhileReadEndsAtTheCut) {
  testing_support::TempDir dir;
  std::string text;
  for (int i = 0; i < 30000; ++i) text += "line " + std::to_string(i) + std::string(90, 'x') + "\n";
  testing_support::WriteFile(dir.file("log"), text);
  SuperLog_ResetForTesting();
  mState.mhFile = fopen(dir.file("log").c_str(), "rb");
  ReadLineFromBigBuf();
  ASSERT_EQ(std::string(mState.mLineBuf, 7), "line 0x");
  ASSERT_EQ(truncate(dir.file("log").c_str(), 100), 0);
  int lines = 0;
  for (ReadLineFromBigBuf(); mState.mLineLen > 0 && lines < 1000; ReadLineFromBigBuf()) ++lines;
  EXPECT_EQ(lines, 0);  // the line after the first ran past the cut
}

}  // namespace

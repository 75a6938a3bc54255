// The start-up search for a log's last dated line, and found paths that do
// not fit the path buffer.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "superlog_test_util.h"

namespace {

namespace fs = std::filesystem;
using sltest::ReaderTest;
using namespace testing_support;

ll::time32_t DateOf(const std::string& line) {
  ll::CopyText(mState.mLineBuf, kLineBufSize, line.data(), line.size());
  mState.mLineLen = static_cast<int32_t>(strlen(mState.mLineBuf));
  const ll::time32_t t = GuessDateTimeFromLine();
  return t == -1 ? 0 : t;
}

// The search as a plain reading of the file would do it: 2000-byte
// stretches back from the end; each skips the rest of the line at its
// first byte, then reads lines while the reading starts inside it.
ll::time32_t ReferenceLastDate(const std::string& f) {
  const auto isEnd = [&](size_t i) { return f[i] == '\r' || f[i] == '\n'; };
  ll::time32_t last = 0;
  for (size_t pos = f.size(); pos > 0 && last == 0;) {
    const size_t off = pos >= 2000 ? pos - 2000 : 0;
    size_t at = off;
    while (at < f.size() && !isEnd(at)) ++at;
    for (at = at + 1; at <= pos - 1 && at <= f.size();) {
      while (at < f.size() && isEnd(at)) ++at;
      if (at == f.size()) break;
      size_t end = at;
      while (end < f.size() && !isEnd(end)) ++end;
      const std::string line = f.substr(at, std::min<size_t>(end - at, kLineBufSize - 1));
      at = end + 1;
      if (line[0] == '#' || (line[0] == '!' && line.size() > 1 && line[1] == '!')) continue;
      if (const ll::time32_t t = DateOf(line)) last = t;
    }
    pos = off;
  }
  return last;
}

ll::time32_t LastDate(const std::string& path, uint64_t size) {
  const int fd = open(path.c_str(), O_RDONLY);
  const ll::time32_t t = LastDateOfFile(fd, size);
  close(fd);
  return t;
}

uint64_t BytesReadSoFar() {
  std::ifstream io("/proc/self/io");
  std::string key;
  uint64_t value = 0;
  while (io >> key >> value && key != "rchar:") {
  }
  return value;
}

std::string Dated(int day, int hour) {
  char line[96];
  snprintf(line, sizeof line, "1.2.3.4 - - [%02d/Mar/1999:%02d:00:00 +0000] \"GET / HTTP/1.0\" 200 1", day, hour);
  return line;
}

// Random files of dated, undated, long, commented lines and runs of line
// ends, around the 2000-byte stretches: the same line wins as in the plain
// reading.
TEST_F(ReaderTest, TailSearchFindsTheLineOfAPlainReading) {
  TempDir dir;
  std::mt19937 random(7);
  const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const char* const kEnds[] = {"\n", "\r\n", "\r", "\n\n\n"};
  const auto check = [&](const std::string& text, int trial) {
    WriteFile(dir.file("log"), text);
    ASSERT_EQ(LastDate(dir.file("log"), text.size()), ReferenceLastDate(text)) << "trial " << trial;
  };
  // A dated line that starts on the last byte of a stretch, or next to it.
  const std::string before = Dated(1, 1) + "\n" + std::string(2500, 'p') + "\n", last = Dated(2, 2);
  for (int shift = -1; shift <= 1; ++shift) {
    check(before + last + "\n" + std::string(2001 + shift - last.size() - 2, 'f') + "\n", shift);
  }
  for (int trial = 0; trial < 300; ++trial) {
    std::string text;
    const int lines = 1 + pick(400);
    for (int i = 0; i < lines; ++i) {
      const std::string dated = Dated(1 + pick(28), pick(24));
      switch (pick(i > lines / 2 ? 6 : 8)) {  // short undated lines at the end
        case 0: text += std::string(1 + pick(5000), 'x'); break;
        case 1: text += "#" + dated; break;
        case 2: text += "!!" + dated; break;
        case 3: text += "!" + dated; break;
        case 4: text += std::string(1 + pick(3000), '\n'); break;
        case 5: text += std::string(1 + pick(6), 'u'); break;
        default: text += dated;
      }
      if (i + 1 < lines || pick(2)) text += kEnds[pick(4)];
    }
    check(text, trial);
  }
}

// A long last line is read about once, not once per stretch.
TEST_F(ReaderTest, TailSearchReadsALongLastLineAboutOnce) {
  TempDir dir;
  const std::string head = Dated(1, 10) + "\n" + Dated(2, 10) + "\n";
  const size_t kLong = 4 << 20;
  const struct {
    std::string last;  // after two dated lines
    ll::time32_t expected;
  } cases[] = {{Dated(3, 10) + std::string(kLong, 'x'), sltest::Local(1999, 3, 3, 10)},
               {std::string(kLong, 'x') + "\n", sltest::Local(1999, 3, 2, 10)},
               {std::string(kLong, '\n'), sltest::Local(1999, 3, 2, 10)}};
  for (const auto& c : cases) {
    WriteFile(dir.file("log"), head + c.last);
    const uint64_t before = BytesReadSoFar();
    EXPECT_EQ(LastDate(dir.file("log"), head.size() + c.last.size()), c.expected);
    EXPECT_LE(BytesReadSoFar() - before, 2 * c.last.size() + 65536);
  }
}

// A found path longer than the path buffer is never opened under its cut
// name (which may name another file): it is listed like a log that cannot
// be opened.
TEST_F(ReaderTest, FoundPathsThatDoNotFitAreNotOpened) {
  TempDir dir;
  std::string folder = dir.path();
  while (folder.size() < 200) folder += "/" + std::string(40, 'd');
  fs::create_directories(folder);
  const std::string name = std::string(100, 'n') + ".log";
  const std::string log = Dated(1, 10) + "\n";
  WriteFile(folder + "/" + name, log);
  const std::string cut = (folder + "/" + name).substr(0, 259);
  WriteFile(cut, log + Dated(5, 10) + "\n");  // the decoy, without .log
  StatsFields settings;
  settings.logs.set((folder + "/*.log").c_str());
  CaptureStdout capture;
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  EXPECT_EQ(capture.Finish(), "ERROR: couldn't open log file " + cut + ".<p>\n");
  ASSERT_NE(mState.mpLogsRoot, nullptr);
  EXPECT_EQ(mState.mpLogsRoot->start, 0);
  EXPECT_EQ(SuperLog_NextLogFile(), 0);
}

}  // namespace

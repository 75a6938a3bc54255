// Helpers of the log reader's tests: hits copied out of the reader's
// buffers, logs read without discovery, zones set for one scope.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"
#include "support/test_support.h"

namespace sltest {

using OptText = std::optional<std::string>;

// A hit whose texts outlive the next line.
struct Hit {
  OptText host, url, referrer, agent, realm, user;
  int32_t status = 0;
  int32_t bytes = 0;
  ll::time32_t time = 0;
  struct tm tm = {};
};

inline OptText Text(const char* p) { return p ? OptText(p) : std::nullopt; }

inline Hit CopyHit(const LogHit& h) {
  Hit c;
  c.host = Text(h.host);
  c.url = Text(h.url);
  c.referrer = Text(h.referrer);
  c.agent = Text(h.agent);
  c.realm = Text(h.realm);
  c.user = Text(h.user);
  c.status = h.status;
  c.bytes = h.bytes;
  c.time = h.time;
  c.tm = h.tm;
  return c;
}

// Sets the reader up as a run does (start-up values, URL buffer) without
// finding any file: the pattern matches nothing.
inline void StartReaderWithoutLogs() {
  StatsFields settings;
  settings.logs.set("/nonexistent-loglantern-dir/none");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
}

// Reads every hit of one file straight through the line parser (the date
// scan of discovery is bypassed, so undated files are read too).
inline std::vector<Hit> ParseFile(const std::string& path) {
  StartReaderWithoutLogs();
  ResetFormatRecognition();  // as when the walk opens the next file
  mState.mhFile = fopen(path.c_str(), "rb");
  EXPECT_NE(mState.mhFile, nullptr) << path;
  std::vector<Hit> hits;
  LogHit hit;
  while (SuperLog_ParseNextLine(&hit)) hits.push_back(CopyHit(hit));
  SuperLog_NextLogFile_Done();
  return hits;
}

inline std::vector<Hit> ParseText(const std::string& text) {
  testing_support::TempDir dir;
  const std::string path = dir.file("log");
  testing_support::WriteFile(path, text);
  return ParseFile(path);
}

// Local calendar time of a broken-down date, for expectations.
inline ll::time32_t Local(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  struct tm tm = {};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  tm.tm_isdst = -1;
  return ll::Mktime32(&tm);
}

// Sets TZ for one scope and restores it afterwards.
class ScopedZone {
 public:
  explicit ScopedZone(const char* zone) {
    const char* old = getenv("TZ");
    had_ = old != nullptr;
    if (old) saved_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedZone() {
    if (had_) {
      setenv("TZ", saved_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  bool had_ = false;
  std::string saved_;
};

// Every test starts and ends with the reader in its process-start state.
class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { SuperLog_ResetForTesting(); }
  void TearDown() override { SuperLog_ResetForTesting(); }
};

}  // namespace sltest

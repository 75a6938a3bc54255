// Helpers of the log reader's tests: hits shown as one line of text, logs
// read without discovery, zones set for one scope.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"
#include "support/test_support.h"

namespace sltest {

// "host url status bytes [ref=..] [agent=..] [realm=..] [user=..] @local time";
// a null host shows as "()", absent optional texts not at all.
inline std::string Show(const LogHit& h) {
  char when[32];
  strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &h.tm);
  std::string s = std::string(h.host ? h.host : "()") + " " + h.url + " " + std::to_string(h.status) + " " +
                  std::to_string(h.bytes);
  if (h.referrer) s += std::string(" ref=") + h.referrer;
  if (h.agent) s += std::string(" agent=") + h.agent;
  if (h.realm) s += std::string(" realm=") + h.realm;
  if (h.user) s += std::string(" user=") + h.user;
  return s + " @" + when;
}

// Sets the reader up as a run does (start-up values, URL buffer) without
// finding any file, and opens path as the next log would be opened.  The
// debug flag stays as the test set it.
inline void OpenWithoutDiscovery(const std::string& path) {
  StatsFields settings;
  settings.logs.set("/nonexistent-loglantern-dir/none");
  settings.debug = mState.mDebugEnabled;
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  ResetFormatRecognition();
  mState.mhFile = fopen(path.c_str(), "rb");
}

// Every hit of a log text, read straight through the line parser.
inline std::vector<std::string> ParseText(const std::string& text, std::vector<ll::time32_t>* times = nullptr) {
  testing_support::TempDir dir;
  testing_support::WriteFile(dir.file("log"), text);
  OpenWithoutDiscovery(dir.file("log"));
  std::vector<std::string> hits;
  LogHit hit;
  while (SuperLog_ParseNextLine(&hit)) {
    hits.push_back(Show(hit));
    if (times) times->push_back(hit.time);
  }
  SuperLog_NextLogFile_Done();
  return hits;
}

// Local calendar time of a wall-clock date.
inline ll::time32_t Local(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  struct tm tm = {};
  tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
  tm.tm_hour = hour, tm.tm_min = minute, tm.tm_sec = second, tm.tm_isdst = -1;
  return ll::Mktime32(&tm);
}

// Sets TZ for one scope.
class ScopedZone {
 public:
  explicit ScopedZone(const char* zone) : saved_(getenv("TZ") ? getenv("TZ") : "") {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedZone() {
    setenv("TZ", saved_.c_str(), 1);
    tzset();
  }

 private:
  std::string saved_;
};

// Every test starts and ends with the reader in its process-start state.
class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { SuperLog_ResetForTesting(); }
  void TearDown() override { SuperLog_ResetForTesting(); }
};

}  // namespace sltest

// Helpers of the log reader's tests: hits shown as one line of text, logs read
// without discovery, zones set for one scope.
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

// Every hit of a log text, read straight through the line parser after the
// reader was set up as a run does it (the debug flag stays as the test set it),
// as "host url status bytes [ref=..] [agent=..] [realm=..] [user=..] @local
// time"; a null host shows as "()", absent optional texts not at all.
inline std::vector<std::string> ParseText(const std::string& text) {
  testing_support::TempDir dir;
  testing_support::WriteFile(dir.file("log"), text);
  StatsFields settings;
  settings.logs.set("/nonexistent-loglantern-dir/none");
  settings.debug = mState.mDebugEnabled;
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  ResetFormatRecognition();
  mState.mhFile = fopen(dir.file("log").c_str(), "rb");
  std::vector<std::string> hits;
  for (LogHit h; SuperLog_ParseNextLine(&h);) {
    std::string s = std::string(h.host ? h.host : "()") + " " + h.url + " " + std::to_string(h.status) + " " + std::to_string(h.bytes);
    for (const auto& [label, text] : {std::pair{" ref=", h.referrer}, {" agent=", h.agent}, {" realm=", h.realm}, {" user=", h.user}}) {
      if (text) s += label + std::string(text);
    }
    char when[32];
    strftime(when, sizeof when, " @%Y-%m-%d %H:%M:%S", &h.tm);
    hits.push_back(s + when);
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
struct ScopedZone {
  explicit ScopedZone(const char* zone) { setenv("TZ", zone, 1), tzset(); }
  ~ScopedZone() { setenv("TZ", "UTC", 1), tzset(); }
};

// Every test starts and ends with the reader in its process-start state.
class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { SuperLog_ResetForTesting(); }
  void TearDown() override { SuperLog_ResetForTesting(); }
};

}  // namespace sltest

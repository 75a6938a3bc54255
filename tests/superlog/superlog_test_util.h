// Helpers of the log reader's tests: a fresh reader, local times.
#pragma once

#include <gtest/gtest.h>

#include <climits>

#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"
#include "support/test_support.h"

namespace sltest {

// Local calendar time of a wall-clock date.
inline ll::time32_t Local(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  struct tm tm = {};
  tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
  tm.tm_hour = hour, tm.tm_min = minute, tm.tm_sec = second, tm.tm_isdst = -1;
  return ll::Mktime32(&tm);
}

// Every test starts and ends with the reader in its process-start state.
class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { SuperLog_ResetForTesting(); }
  void TearDown() override { SuperLog_ResetForTesting(); }
};

}  // namespace sltest

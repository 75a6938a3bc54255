#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "base/fixed_text.h"
#include "base/time32.h"

namespace {

TEST(FixedText, CutsOverlongValuesAtTheFieldLimit) {
  ll::FixedText<5> t;
  t.set("abcdefgh");
  EXPECT_STREQ(t.c_str(), "abcd");
  t.set(nullptr);
  EXPECT_TRUE(t.empty());
  t.set("ab");
  t.append("cdef");
  EXPECT_STREQ(t.c_str(), "abcd");
  EXPECT_EQ(t.size(), 4u);
}

TEST(FixedText, CountedCopyNeedsNoTerminator) {
  char raw[3] = {'x', 'y', 'z'};
  char out[10];
  EXPECT_EQ(ll::CopyText(out, sizeof out, raw, 3), 3u);
  EXPECT_STREQ(out, "xyz");
  char small[2];
  EXPECT_EQ(ll::CopyText(small, raw), 1u);
  EXPECT_STREQ(small, "x");
}

TEST(FixedText, AppendRepairsAnUnterminatedField) {
  char buf[4] = {'a', 'b', 'c', 'd'};
  EXPECT_EQ(ll::AppendText(buf, "x"), 3u);
  EXPECT_STREQ(buf, "abc");
}

class Time32 : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* tz = getenv("TZ");
    saved_ = tz ? tz : "";
    setenv("TZ", "UTC", 1);
    tzset();
  }
  void TearDown() override {
    setenv("TZ", saved_.c_str(), 1);
    tzset();
  }
  std::string saved_;
};

TEST_F(Time32, DatesOutsideThe32BitRangeFail) {
  struct tm tm = {};
  tm.tm_year = 1 - 0;  // 1901-01-01: before 13 December 1901
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  EXPECT_EQ(ll::Mktime32(&tm), -1);

  tm = {};
  tm.tm_year = 138;  // 2038-02-01: after 19 January 2038
  tm.tm_mon = 1;
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  EXPECT_EQ(ll::Mktime32(&tm), -1);

  tm = {};
  tm.tm_year = 99;
  tm.tm_mon = 10;
  tm.tm_mday = 30;
  tm.tm_isdst = -1;
  EXPECT_EQ(ll::Mktime32(&tm), 943920000);
}

TEST_F(Time32, ConversionsRoundTrip) {
  struct tm tm;
  ASSERT_TRUE(ll::Gmtime32(INT32_MIN, &tm));
  EXPECT_EQ(tm.tm_year, 1);  // 1901-12-13
  EXPECT_EQ(tm.tm_mon, 11);
  EXPECT_EQ(tm.tm_mday, 13);
  ASSERT_TRUE(ll::Localtime32(172800, &tm));
  EXPECT_EQ(tm.tm_mday, 3);
  EXPECT_STREQ(ll::Ctime32(0), "Thu Jan  1 00:00:00 1970\n");
}

}  // namespace

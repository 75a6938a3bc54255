// Timestamp parsers, the line classifier, the date settings and the cached
// calendar conversions.
#include <random>

#include "superlog_test_util.h"

namespace {

using sltest::Local;
using sltest::ReaderTest;
using sltest::ScopedZone;

using Parser = void (*)(char*, struct tm*);
#define PARSER(f) [](char* t, struct tm* tm) { f(t, tm); }

// "Y-M-D h:m:s" after the parser ran on a record of -7s, so that members it
// did not write show (the year as 1893, the month as -6).
std::string Parse(Parser parser, const char* text) {
  struct tm tm = {};
  tm.tm_sec = tm.tm_min = tm.tm_hour = tm.tm_mday = tm.tm_mon = tm.tm_year = -7;
  std::string copy = text;  // some parsers cut their field in place
  parser(copy.data(), &tm);
  char buf[96];
  snprintf(buf, sizeof buf, "%d-%d-%d %d:%d:%d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour,
           tm.tm_min, tm.tm_sec);
  return buf;
}

const char* const kNothing = "1893--6--7 -7:-7:-7";

TEST_F(ReaderTest, FieldParsersWriteOnlyWhatTheyRead) {
  const Parser clf = PARSER(ParseDateTime1), date2 = PARSER(ParseDate2), date3 = PARSER(ParseDate3),
               date4 = PARSER(ParseDateTime4), date5 = PARSER(ParseDate5), time9 = PARSER(ParseTime9);
  const std::tuple<Parser, const char*, const char*> cases[] = {
      {clf, "10/Oct/1999:13:55:36 -0700", "1999-10-10 13:55:36"},  // the zone is not read
      {clf, "1/Feb/99:1:2:3", "1999-2-1 1:2:3"},
      {clf, "10/Oct", "1900-10-10 0:0:0"},       // missing parts are 0
      {clf, "10/oct/1999:13:55:36", kNothing},   // month names keep their case
      {clf, "10/Oct/1999x:13:55:36", kNothing},
      {clf, "10/Oct/1999:13:5x:36", kNothing},
      {date2, "10-23-05", "1905-10-23 -7:-7:-7"},  // no two-digit pivot
      {date3, "99-10-23", "1999-10-23 -7:-7:-7"},
      {date4, "10/23/1999  7:05", "1999-10-23 7:5:0"},
      {date4, "10/23/99", "1999-10-23 -7:-7:-7"},
      {date5, "Sat, 3   DEC 2001 10:00", "2001-12-3 -7:-7:-7"},
      {date5, "Sat, 23 Foo 1999", "1999-1-23 -7:-7:-7"},  // unknown month: January
      {date5, "Saturday, 23 Oct 1999", kNothing},
      {date5, "Sat, 23 Oc", "1900-1-23 -7:-7:-7"},  // short texts are never read past their end
      {date5, "99/10/23", "1999-10-23 -7:-7:-7"},   // numeric: the year first or last
      {date5, "10/23/99", "1999-10-23 -7:-7:-7"},
      {date5, "10/23/05", kNothing},
      {time9, "13:55:36.250", "1893--6--7 13:55:36"},
      {time9, "13:", "1893--6--7 13:0:0"},
      {time9, "13", kNothing},
      {time9, "13:5x", kNothing},
  };
  for (const auto& [parser, text, expected] : cases) EXPECT_EQ(Parse(parser, text), expected) << text;
}

// A triplet is a date when a number is above 91 (the last such is the year),
// else a time; blanks alone are neither.
TEST_F(ReaderTest, TripletsAreDatesTimesOrNothing) {
  const struct {
    const char* text;
    int kind, yearIndex;
    std::string numbers;
  } cases[] = {{"", 0, -1, "0 0 0"}, {" \t ", 0, -1, "0 0 0"}, {"\t13:55:36", 2, -1, "13 55 36"},
               {"91/1/2", 2, -1, "91 1 2"}, {" 99/100/2", 1, 1, "99 100 2"}, {"5/6/92", 1, 2, "5 6 92"}};
  for (const auto& c : cases) {
    int32_t n[3] = {7, 7, 7}, yearIndex = -1;
    EXPECT_EQ(ParseTripletAndGuessType(c.text, n, &yearIndex), c.kind) << c.text;
    EXPECT_EQ(yearIndex, c.yearIndex) << c.text;
    EXPECT_EQ(std::to_string(n[0]) + " " + std::to_string(n[1]) + " " + std::to_string(n[2]), c.numbers) << c.text;
  }
}

TEST_F(ReaderTest, NumericDatesFollowTheConfiguredOrder) {
  const std::pair<const char*, const char*> orders[] = {
      {"DMY", "1999-2-1"}, {"DYM", "1902-99-1"}, {"MDY", "1999-1-2"},
      {"myd", "1902-1-99"}, {"YDM", "1901-99-2"}, {"ymd", "1901-2-99"}};
  for (const auto& [order, expected] : orders) {
    SuperLog_SetDateFormat(order, kSourceForm);
    EXPECT_EQ(Parse(PARSER(ParseDate2), "1/2/1999"), std::string(expected) + " -7:-7:-7") << order;
    EXPECT_EQ(Parse(PARSER(ParseDate3), "1999-10-23"), "1999-10-23 -7:-7:-7") << order;
  }
  SuperLog_SetDateFormat("XYZ", kSourceForm);  // unknown: neither value nor rank
  SuperLog_SetDateFormat("DMY", kSourceDefault);  // lower rank
  EXPECT_EQ(SuperLog_GetDateFormat(), 6);
}

TEST_F(ReaderTest, EpochSecondsWrapIn32Bits) {
  ComputeStartupTimes();
  EXPECT_EQ(mState.mEpochEnd, 1577836800);
  EXPECT_EQ(Parse(PARSER(ParseEpoch), "943920000"), "1999-11-30 0:0:0");
  // 2^31 and more is negative and moved on by 2208988800 seconds, wrapping;
  // when that is no better, the value stays.
  EXPECT_EQ(Parse(PARSER(ParseEpoch), "3152908800"), "2003-10-23 17:31:44");
  EXPECT_EQ(Parse(PARSER(ParseEpoch), "4294967295"), "1969-12-31 23:59:59");
  EXPECT_EQ(Parse(PARSER(ParseEpoch), ""), kNothing);
  // The range is in local time; the GMT correction is the standard offset.
  ScopedZone zone("America/New_York");
  SuperLog_SetFixGmt("1", kSourceForm);
  ComputeStartupTimes();
  EXPECT_EQ(mState.mEpochStart, 18000);
  EXPECT_EQ(mState.mGmtOffset, -18000);
}

TEST_F(ReaderTest, ClassifierDatesLinesByFieldShapes) {
  const std::pair<const char*, ll::time32_t> cases[] = {
      {"1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1", Local(1999, 10, 10, 13, 55, 36)},
      {"1999-10-23 13:55:36 10.0.0.1 GET /x", Local(1999, 10, 23, 13, 55, 36)},
      {"2001/13/05", Local(2001, 5, 13)},  // year first, then only YDM makes sense
      {"2001/12/05", Local(2001, 12, 5)},
      {"1/2/05", 0},                       // no number above 91: a time
      {"13:55:36 1999-10-23 08:00:00", Local(1999, 10, 23, 13, 55, 36)},  // the latest time wins
      {"13:55:36 1999-10-23 13:55:37", Local(1999, 10, 23, 13, 55, 37)},
      {"13:55:37 1999-10-23 13:55:36", Local(1999, 10, 23, 13, 55, 37)},
      {"10/23/99 x 13:55:36", Local(1999, 10, 23, 13, 55, 36)},
      {"\"10/23/99 13:55:36\" 1999-01-01", Local(1999, 10, 23, 13, 55, 36)},
      {"943920000 x", 943920000},
      {"1234 x 631151999", 0},             // lone numbers outside both epoch ranges
      {"Sat, 23 Oct 1999", 0},             // blanks split it: no field has the shape
      {"a\tSat, 23 Oct 1999\t10:11:12", Local(1999, 10, 23, 10, 11, 12)},
      {"192.168.1.1, -, 03/20/99, 7:55:20, W3SVC2, S, 1.2.3.4, 1, 2, 3, 200, 0, GET, /x, -,",
       Local(1999, 3, 20, 7, 55, 20)},
      {"[10/oct/1999:13:55:36 -0700]", -1},  // the shape, but no stamp
      {"[10/Oct/1800:13:55:36 -0700]", -1},  // beyond 32 bits
      {"GET /index.html 200", 0},
  };
  ComputeStartupTimes();
  for (const auto& [line, expected] : cases) {
    ll::CopyText(mState.mLineBuf, line);
    EXPECT_EQ(GuessDateTimeFromLine(), expected) << line;
  }
}

// Stamps written around zone changes (the wall clock walked in steps of
// seconds through gaps, and the readings of instants) and at random over the 32-bit
// range, some unnormalised or with DST forced: the cached conversions give
// what the direct calls give when made in the same order, and answer most
// stamps from the cache.
TEST_F(ReaderTest, CachedConversionsEqualDirectCalls) {
  // Half-hour daylight saving on Lord Howe; Monrovia moved by 44 min 30 s.
  for (const char* zoneName : {"America/New_York", "Australia/Lord_Howe", "Africa/Monrovia"}) {
    ScopedZone zone(zoneName);
    std::mt19937 rng(12345);
    std::vector<struct tm> stamps;
    const auto add = [&](const struct tm& w, int isdst) {
      struct tm s = {};
      s.tm_year = w.tm_year, s.tm_mon = w.tm_mon, s.tm_mday = w.tm_mday;
      s.tm_hour = w.tm_hour, s.tm_min = w.tm_min, s.tm_sec = w.tm_sec, s.tm_isdst = isdst;
      stamps.push_back(s);
    };
    struct tm a, b, w;
    for (ll::time32_t t = 0; t < 2100000000; t += 43200) {
      ll::Localtime32(t, &a);
      ll::Localtime32(t + 43200, &b);
      if (a.tm_gmtoff == b.tm_gmtoff || rng() % 2) continue;
      ll::time32_t lo = t, hi = t + 43200;  // the change lies in (lo, hi]
      while (hi - lo > 1) {
        const ll::time32_t mid = lo + (hi - lo) / 2;
        ll::Localtime32(mid, &w);
        (w.tm_gmtoff == a.tm_gmtoff ? lo : hi) = mid;
      }
      ll::Localtime32(hi - 7200, &w);
      for (int step = 0; step < 600; ++step, w.tm_sec += 1 + static_cast<int>(rng() % 37), timegm(&w)) add(w, -1);
      for (ll::time32_t u = hi - 7200; u < hi + 7200; u += 1 + static_cast<ll::time32_t>(rng() % 37)) {
        ll::Localtime32(u, &w);  // an hour put back is read twice
        add(w, -1);
      }
    }
    for (int i = 0; i < 5000; ++i) {
      ll::Localtime32(static_cast<ll::time32_t>(rng()), &w);
      if (rng() % 6 == 0) w.tm_sec = 60 + static_cast<int>(rng() % 3);
      if (rng() % 6 == 0) w.tm_min += 60, w.tm_mon = 12;
      for (int k = 1 + static_cast<int>(rng() % 4); k > 0; --k, w.tm_sec = static_cast<int>(rng() % 60)) {
        add(w, rng() % 3 ? -1 : static_cast<int>(rng() % 2));
      }
    }
    // mktime starts from the offset of its last answer: both runs start alike.
    const auto prime = [] {
      struct tm tm = {};
      tm.tm_year = 100, tm.tm_mday = 1, tm.tm_isdst = -1;
      ll::Mktime32(&tm);
    };
    const auto later = [](ll::time32_t t) { return static_cast<ll::time32_t>(static_cast<uint32_t>(t) + 3600u); };
    std::vector<std::pair<ll::time32_t, struct tm>> direct(stamps.size());
    prime();
    for (size_t i = 0; i < stamps.size(); ++i) {
      struct tm work = stamps[i];
      direct[i].first = ll::Mktime32(&work);
      ll::Localtime32(later(direct[i].first), &direct[i].second);
    }
    ClearTimeCaches();
    prime();
    size_t mismatches = 0, answeredByCache = 0;
    for (size_t i = 0; i < stamps.size(); ++i) {
      const MktimeCache& c = mState.mMktimeCache;
      const struct tm& k = stamps[i];
      answeredByCache += c.usable && c.min == k.tm_min && c.hour == k.tm_hour && c.mday == k.tm_mday &&
                         c.mon == k.tm_mon && c.year == k.tm_year && c.isdst == k.tm_isdst && k.tm_sec < 60;
      const ll::time32_t cached = CachedMktime32(&k);
      struct tm l = {};
      CachedLocaltime32(later(cached), &l);
      const struct tm& d = direct[i].second;
      if (cached != direct[i].first || l.tm_sec != d.tm_sec || l.tm_min != d.tm_min || l.tm_hour != d.tm_hour ||
          l.tm_mday != d.tm_mday || l.tm_mon != d.tm_mon || l.tm_year != d.tm_year || l.tm_wday != d.tm_wday ||
          l.tm_yday != d.tm_yday || l.tm_isdst != d.tm_isdst || l.tm_gmtoff != d.tm_gmtoff) {
        if (++mismatches <= 3) ADD_FAILURE() << zoneName << ": stamp " << i << ": " << cached << " vs " << direct[i].first;
      }
    }
    EXPECT_EQ(mismatches, 0u) << zoneName << ", of " << stamps.size() << " stamps";
    EXPECT_GT(answeredByCache, stamps.size() / 5) << zoneName;  // the cache is really used
  }
}

}  // namespace

// Timestamp parsers, the line classifier and the cached calendar conversions.
#include <random>

#include "superlog_test_util.h"

namespace {

using sltest::Local;
using sltest::ReaderTest;

using Parser = void (*)(char*, struct tm*);
#define PARSER(f) [](char* t, struct tm* tm) { f(t, tm); }

// Each parser runs on a record of -7s, so that members it did not write show
// (the year as 1893, the month as -6), under the date order of its row.
TEST_F(ReaderTest, FieldParsersWriteOnlyWhatTheyRead) {
  const Parser clf = PARSER(ParseDateTime1), date2 = PARSER(ParseDate2), date3 = PARSER(ParseDate3),
               date4 = PARSER(ParseDateTime4), date5 = PARSER(ParseDate5), time9 = PARSER(ParseTime9),
               epoch = PARSER(ParseEpoch);
  const char* const kNothing = "1893--6--7 -7:-7:-7";
  const std::tuple<const char*, Parser, const char*, const char*> cases[] = {
      {"", clf, "10/Oct/1999:13:55:36 -0700", "1999-10-10 13:55:36"},  // the zone is not read
      {"", clf, "1/Feb/99:1:2:3", "1999-2-1 1:2:3"},
      {"", clf, "10/Oct", "1900-10-10 0:0:0"},  // missing parts are 0
      {"", clf, "10/oct/1999:13:55:36", kNothing},  // month names keep their case
      {"", clf, "10/Oct/1999x:13:55:36", kNothing},
      {"", clf, "10/Oct/1999:13:5x:36", kNothing},
      {"", date3, "99-10-23", "1999-10-23 -7:-7:-7"},
      {"", date4, "10/23/1999  7:05", "1999-10-23 7:5:0"},
      {"", date4, "10/23/99", "1999-10-23 -7:-7:-7"},
      {"", date5, "Sat, 3   DEC 2001 10:00", "2001-12-3 -7:-7:-7"},
      {"", date5, "Sat, 23 Foo 1999", "1999-1-23 -7:-7:-7"},  // unknown month: January
      {"", date5, "Saturday, 23 Oct 1999", kNothing},
      {"", date5, "Sat, 23 Oc", "1900-1-23 -7:-7:-7"},  // short texts are never read past their end
      {"", date5, "99/10/23", "1999-10-23 -7:-7:-7"},  // numeric: the year first or last
      {"", date5, "10/23/05", kNothing},
      {"", time9, "13:55:36.250", "1893--6--7 13:55:36"},
      {"", time9, "13:", "1893--6--7 13:0:0"},
      {"", time9, "13", kNothing},
      {"", time9, "13:5x", kNothing},
      // Seconds since 1970; 2^31 and more is negative and moved on by the
      // seconds from 1900 to 1970, wrapping; when that is no better, it stays.
      {"", epoch, "943920000", "1999-11-30 0:0:0"},
      {"", epoch, "3152908800", "2003-10-23 17:31:44"},
      {"", epoch, "4294967295", "1969-12-31 23:59:59"},
      {"", epoch, "", kNothing},
      {"", date2, "10-23-05", "1905-10-23 -7:-7:-7"},  // no two-digit pivot
      {"DMY", date2, "1/2/1999", "1999-2-1 -7:-7:-7"}, {"DYM", date2, "1/2/1999", "1902-99-1 -7:-7:-7"},
      {"MDY", date2, "1/2/1999", "1999-1-2 -7:-7:-7"}, {"myd", date2, "1/2/1999", "1902-1-99 -7:-7:-7"},
      {"YDM", date2, "1/2/1999", "1901-99-2 -7:-7:-7"}, {"ymd", date2, "1/2/1999", "1901-2-99 -7:-7:-7"},
      {"XYZ", date2, "1/2/1999", "1901-2-99 -7:-7:-7"},  // unknown: the order stays
  };
  ComputeStartupTimes();
  EXPECT_EQ(mState.mEpochEnd, 1577836800);
  for (const auto& [order, parser, text, expected] : cases) {
    SuperLog_SetDateFormat(order, kSourceForm);
    struct tm tm = {};
    tm.tm_sec = tm.tm_min = tm.tm_hour = tm.tm_mday = tm.tm_mon = tm.tm_year = -7;
    std::string copy = text;  // some parsers cut their field in place
    parser(copy.data(), &tm);
    char buf[96];
    snprintf(buf, sizeof buf, "%d-%d-%d %d:%d:%d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    EXPECT_EQ(std::string(buf), expected) << order << " " << text;
  }
  // The range is in local time; the GMT correction is the standard offset.
  sltest::ScopedZone zone("America/New_York");
  SuperLog_SetFixGmt("1", kSourceForm);
  ComputeStartupTimes();
  EXPECT_EQ(mState.mEpochStart, 18000);
  EXPECT_EQ(mState.mGmtOffset, -18000);
}

// A triplet is a date when a number is above 91 (the last such is the year),
// else a time; blanks alone are neither.
TEST_F(ReaderTest, TripletsAreDatesTimesOrNothing) {
  const std::tuple<const char*, int, int, std::string> cases[] = {
      {"", 0, -1, "0 0 0"}, {" \t ", 0, -1, "0 0 0"}, {"\t13:55:36", 2, -1, "13 55 36"},
      {"91/1/2", 2, -1, "91 1 2"}, {" 99/100/2", 1, 1, "99 100 2"}, {"5/6/92", 1, 2, "5 6 92"}};
  for (const auto& [text, kind, yearIndex, numbers] : cases) {
    int32_t n[3] = {7, 7, 7}, index = -1;
    EXPECT_EQ(ParseTripletAndGuessType(text, n, &index), kind) << text;
    EXPECT_EQ(std::to_string(index) + ": " + std::to_string(n[0]) + " " + std::to_string(n[1]) + " " + std::to_string(n[2]),
              std::to_string(yearIndex) + ": " + numbers) << text;
  }
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

// Stamps around zone changes (the wall clock walked in steps of seconds
// through gaps, and the readings of instants) and at random, some with DST
// forced, leap seconds or unnormalised: the cached conversions answer most of
// them, and as the direct calls do when made in the same order.
TEST_F(ReaderTest, CachedConversionsEqualDirectCalls) {
  // Half-hour daylight saving on Lord Howe; Monrovia moved by 44 min 30 s.
  for (const char* zoneName : {"America/New_York", "Australia/Lord_Howe", "Africa/Monrovia"}) {
    sltest::ScopedZone zone(zoneName);
    std::mt19937 rng(12345);
    const auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    std::vector<struct tm> stamps;
    const auto add = [&](struct tm w, int isdst) {
      w.tm_isdst = isdst, w.tm_wday = w.tm_yday = 0, w.tm_gmtoff = 0, w.tm_zone = nullptr;
      stamps.push_back(w);
    };
    struct tm a, w;
    for (ll::time32_t t = 0; t < 2100000000; t += 43200) {
      ll::Localtime32(t, &a);
      ll::Localtime32(t + 43200, &w);
      if (a.tm_gmtoff == w.tm_gmtoff || pick(2)) continue;
      while (ll::Localtime32(t + 3600, &w), w.tm_gmtoff == a.tm_gmtoff) t += 3600;  // the change is in the next hour
      ll::Localtime32(t - 3600, &w);
      for (int step = 0; step < 300; ++step, w.tm_sec += 1 + pick(37), timegm(&w)) add(w, -1);
      for (ll::time32_t u = t - 3600; u < t + 7200; u += 1 + pick(37)) ll::Localtime32(u, &w), add(w, -1);
    }
    for (int i = 0; i < 5000; ++i) {
      ll::Localtime32(static_cast<ll::time32_t>(rng()), &w);
      if (pick(6) == 0) w.tm_sec = 60 + pick(3);
      if (pick(6) == 0) w.tm_min += 60, w.tm_mon = 12;
      for (int k = 1 + pick(4); k > 0; --k, w.tm_sec = pick(60)) add(w, pick(3) ? -1 : pick(2));
    }
    const auto later = [](ll::time32_t t) { return static_cast<ll::time32_t>(static_cast<uint32_t>(t) + 3600u); };
    const auto show = [](const struct tm& l) {
      return std::to_string(l.tm_year) + "-" + std::to_string(l.tm_yday) + " " + std::to_string(l.tm_wday) + " " +
             std::to_string(l.tm_hour) + ":" + std::to_string(l.tm_min) + ":" + std::to_string(l.tm_sec) + " " +
             std::to_string(l.tm_isdst) + " " + std::to_string(l.tm_gmtoff);
    };
    // mktime starts from the offset of its last answer: both runs start alike.
    struct tm start = {};
    start.tm_year = 100, start.tm_mday = 1, start.tm_isdst = -1;
    std::vector<std::string> direct;
    ll::Mktime32(&start);
    for (struct tm k : stamps) {
      const ll::time32_t t = ll::Mktime32(&k);
      ll::Localtime32(later(t), &w);
      direct.push_back(std::to_string(t) + " " + show(w));
    }
    ClearTimeCaches();
    start.tm_isdst = -1;
    ll::Mktime32(&start);
    size_t mismatches = 0, answeredByCache = 0;
    for (size_t i = 0; i < stamps.size(); ++i) {
      const MktimeCache& c = mState.mMktimeCache;
      const struct tm& k = stamps[i];
      answeredByCache += c.usable && c.min == k.tm_min && c.hour == k.tm_hour && c.mday == k.tm_mday &&
                         c.mon == k.tm_mon && c.year == k.tm_year && c.isdst == k.tm_isdst && k.tm_sec < 60;
      const ll::time32_t cached = CachedMktime32(&k);
      CachedLocaltime32(later(cached), &w);
      if (std::to_string(cached) + " " + show(w) != direct[i] && ++mismatches <= 3) {
        ADD_FAILURE() << zoneName << ": stamp " << i << ": " << std::to_string(cached) + " " + show(w) << " vs " << direct[i];
      }
    }
    EXPECT_EQ(mismatches, 0u) << zoneName << ", of " << stamps.size() << " stamps";
    EXPECT_GT(answeredByCache, stamps.size() / 5) << zoneName;  // the cache is really used
  }
}

}  // namespace

// Timestamp parsers, the line classifier, the date settings and the cached
// calendar conversions.
#include <cstring>
#include <random>

#include "superlog_test_util.h"

namespace {

using sltest::Local;
using sltest::ReaderTest;
using sltest::ScopedZone;

// A broken-down time whose members are all -7, so that the members a
// parser wrote can be told from those it left alone.
struct tm Untouched() {
  struct tm tm;
  memset(&tm, 0, sizeof tm);
  tm.tm_sec = tm.tm_min = tm.tm_hour = tm.tm_mday = tm.tm_mon = tm.tm_year = -7;
  tm.tm_wday = tm.tm_yday = tm.tm_isdst = -7;
  return tm;
}

// "Y-M-D h:m:s" of the members a parser writes; unwritten ones show -7
// (and the year then shows 1893, the month -6).
std::string Show(const struct tm& tm) {
  char buf[96];
  snprintf(buf, sizeof buf, "%d-%d-%d %d:%d:%d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour,
           tm.tm_min, tm.tm_sec);
  return buf;
}

template <typename Parser>
std::string Parse(Parser parser, const char* text) {
  struct tm tm = Untouched();
  std::string copy = text;  // some parsers cut their field in place
  parser(copy.data(), &tm);
  return Show(tm);
}

const std::string kNothing = Show(Untouched());

TEST_F(ReaderTest, ClfStampIsReadAsWrittenWithoutItsZone) {
  EXPECT_EQ(Parse(ParseDateTime1, "10/Oct/1999:13:55:36 -0700"), "1999-10-10 13:55:36");
  EXPECT_EQ(Parse(ParseDateTime1, "1/Feb/99:1:2:3"), "1999-2-1 1:2:3");
  // Parts missing at the end count as 0.
  EXPECT_EQ(Parse(ParseDateTime1, "10/Oct/1999"), "1999-10-10 0:0:0");
  EXPECT_EQ(Parse(ParseDateTime1, "10/Oct"), "1900-10-10 0:0:0");
  // Refused: month case, characters inside the numbers, day without '/'.
  for (const char* bad : {"10/oct/1999:13:55:36", "10/Oct/1999x:13:55:36", "10/Oct/1999:1x:55:36",
                          "10/Oct/1999:13:5x:36", "10", "10-Oct-1999", "", "10/Xyz/1999"}) {
    EXPECT_EQ(Parse(ParseDateTime1, bad), kNothing) << bad;
  }
}

TEST_F(ReaderTest, NumericDatesFollowTheConfiguredOrder) {
  const char* text = "1/2/1999";
  const std::pair<const char*, const char*> orders[] = {
      {"DMY", "1999-2-1"}, {"DYM", "1902-99-1"}, {"MDY", "1999-1-2"},
      {"myd", "1902-1-99"}, {"YDM", "1901-99-2"}, {"ymd", "1901-2-99"},
  };
  for (const auto& [order, expected] : orders) {
    SuperLog_SetDateFormat(order, kSourceForm);
    struct tm tm = Untouched();
    ParseDate2(text, &tm);
    char got[64];
    snprintf(got, sizeof got, "%d-%d-%d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
    EXPECT_EQ(std::string(got), expected) << order;
  }
  SuperLog_SetDateFormat("DMY", kSourceForm);
  EXPECT_EQ(Parse(ParseDate2, "23/10/99"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate2, "23.10.1999"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate2, "23//99"), "1999-0-23 -7:-7:-7");
  SuperLog_SetDateFormat("MDY", kSourceForm);
  EXPECT_EQ(Parse(ParseDate2, "10-23-05"), "1905-10-23 -7:-7:-7");  // no two-digit pivot
  // Month 23 is left for mktime to carry into the next year.
  struct tm tm = {};
  tm.tm_isdst = -1;
  ParseDate2("23/10/99", &tm);
  ll::Mktime32(&tm);
  EXPECT_EQ(Show(tm), "2000-11-10 0:0:0");
  // Date and time in one field.
  EXPECT_EQ(Parse(ParseDateTime4, "10/23/99 13:55:36"), "1999-10-23 13:55:36");
  EXPECT_EQ(Parse(ParseDateTime4, "10/23/99"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDateTime4, "10/23/1999  7:05"), "1999-10-23 7:5:0");
  mState.mDateFormat = 0;
  EXPECT_EQ(Parse(ParseDate2, "10/23/99"), kNothing);
}

TEST_F(ReaderTest, IsoAndWebStarDates) {
  SuperLog_SetDateFormat("DMY", kSourceForm);
  EXPECT_EQ(Parse(ParseDate3, "1999-10-23"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate3, "99-10-23"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate3, ""), kNothing);

  EXPECT_EQ(Parse(ParseDate5, "Sat, 23 Oct 1999"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "Sat, 23 oct 1999"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "Sat, 3   DEC 2001 10:00"), "2001-12-3 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "Sat, 23 Foo 1999"), "1999-1-23 -7:-7:-7");  // unknown month: January
  EXPECT_EQ(Parse(ParseDate5, "Saturday, 23 Oct 1999"), kNothing);
  // Short texts never read past their end.
  EXPECT_EQ(Parse(ParseDate5, "Sat,"), "1900-1-0 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "Sat, 23 Oc"), "1900-1-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "Sat, 23 Oct"), "1900-10-23 -7:-7:-7");
  // Numeric: the year comes first or last, whatever the configured order.
  EXPECT_EQ(Parse(ParseDate5, "99/10/23"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "10/23/99"), "1999-10-23 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "2001-02-03"), "2001-2-3 -7:-7:-7");
  EXPECT_EQ(Parse(ParseDate5, "10/23/05"), kNothing);
}

TEST_F(ReaderTest, TimeOfDay) {
  EXPECT_EQ(Parse(ParseTime9, "13:55:36"), "1893--6--7 13:55:36");
  EXPECT_EQ(Parse(ParseTime9, "7:05"), "1893--6--7 7:5:0");
  EXPECT_EQ(Parse(ParseTime9, "13:"), "1893--6--7 13:0:0");
  EXPECT_EQ(Parse(ParseTime9, "13:55:36.250"), "1893--6--7 13:55:36");
  for (const char* bad : {"13", "13.55.36", "13:5x", "", ":55"}) {
    EXPECT_EQ(Parse(ParseTime9, bad), bad == std::string(":55") ? "1893--6--7 0:55:0" : kNothing) << bad;
  }
}

TEST_F(ReaderTest, EpochSecondsFrom1970Or1900) {
  ComputeStartupTimes();
  EXPECT_EQ(mState.mEpochStart, 0);
  EXPECT_EQ(mState.mEpochEnd, 1577836800);
  EXPECT_EQ(Parse(ParseEpoch, "943920000"), "1999-11-30 0:0:0");
  // Counts of 2^31 and more are negative in 32 bits and are moved on by
  // 2208988800 seconds, wrapping; when that is no better they stay.
  EXPECT_EQ(Parse(ParseEpoch, "3152908800"), "2003-10-23 17:31:44");
  EXPECT_EQ(Parse(ParseEpoch, "4294967295"), "1969-12-31 23:59:59");
  // Past 2020 and not from 1900 either: taken as it is.
  EXPECT_EQ(Parse(ParseEpoch, "2000000000"), "2033-5-18 3:33:20");
  EXPECT_EQ(Parse(ParseEpoch, ""), kNothing);
  struct tm tm = Untouched();
  ParseEpoch("943920000", &tm);
  EXPECT_EQ(tm.tm_wday, 2);  // every member comes from localtime
  EXPECT_EQ(tm.tm_isdst, 0);
}

TEST_F(ReaderTest, EpochRangeIsLocal) {
  ScopedZone zone("Europe/Berlin");
  ComputeStartupTimes();
  EXPECT_EQ(mState.mEpochStart, -3600);
  EXPECT_EQ(mState.mEpochEnd, 1577833200);
  EXPECT_EQ(Parse(ParseEpoch, "0"), "1970-1-1 1:0:0");  // inside the local range
}

TEST_F(ReaderTest, GmtOffsetIsTheZonesStandardOffset) {
  const std::pair<const char*, int32_t> zones[] = {
      {"America/New_York", -18000}, {"Europe/Berlin", 3600}, {"Asia/Kolkata", 19800}, {"UTC", 0}};
  for (const auto& [name, offset] : zones) {
    ScopedZone zone(name);
    SuperLog_ResetForTesting();
    SuperLog_SetFixGmt("1", kSourceForm);
    ComputeStartupTimes();
    EXPECT_EQ(mState.mGmtOffset, offset) << name;
    SuperLog_SetFixGmt("0", kSourceForm);
    ComputeStartupTimes();
    EXPECT_EQ(mState.mGmtOffset, 0) << name;
  }
}

TEST_F(ReaderTest, DateSettingsKeepTheirRank) {
  EXPECT_EQ(SuperLog_GetDateFormat(), 3);
  SuperLog_SetDateFormat("dmy", kSourceForm);
  EXPECT_EQ(SuperLog_GetDateFormat(), 1);
  SuperLog_SetDateFormat("XYZ", kSourceAccount);  // unknown: neither value nor rank
  SuperLog_SetDateFormat(nullptr, kSourceAccount);
  SuperLog_SetDateFormat("YMD", kSourceForm);
  EXPECT_EQ(SuperLog_GetDateFormat(), 6);
  SuperLog_SetDateFormat("YDM", kSourceGlobal);
  SuperLog_SetDateFormat("MYD", kSourceForm);
  EXPECT_EQ(SuperLog_GetDateFormat(), 5);

  SuperLog_SetFixGmt("2", kSourceDefault);
  EXPECT_EQ(mState.mFixGmt, 1);
  SuperLog_SetFixGmt("yes", kSourceForm);  // atoi reads 0
  EXPECT_EQ(mState.mFixGmt, 0);
  SuperLog_SetFixGmt(nullptr, kSourceAccount);
  SuperLog_SetFixGmt("1", kSourceDefault);
  EXPECT_EQ(mState.mFixGmt, 0);
  EXPECT_EQ(mState.mFixGmtSource, kSourceForm);
}

// Classifies the fields of one line.
ll::time32_t Guess(const std::string& line) {
  ll::CopyText(mState.mLineBuf, line.c_str());
  return GuessDateTimeFromLine();
}

TEST_F(ReaderTest, ClassifierDatesLinesByFieldShapes) {
  ComputeStartupTimes();
  EXPECT_EQ(Guess("1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1"),
            Local(1999, 10, 10, 13, 55, 36));
  EXPECT_EQ(Guess("x [10/Oct/1999:13:55:36 +0200]"), Local(1999, 10, 10, 13, 55, 36));
  EXPECT_EQ(Guess("1999-10-23 13:55:36 10.0.0.1 GET /x"), Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(Guess("2001/13/05"), Local(2001, 5, 13));      // YDM
  EXPECT_EQ(Guess("2001/12/05"), Local(2001, 12, 5));      // YMD
  EXPECT_EQ(Guess("1/2/05"), 0);                           // no number above 91: a time
  EXPECT_EQ(Guess("13:55:36 1999-10-23 08:00:00"), Local(1999, 10, 23, 13, 55, 36));  // latest time
  EXPECT_EQ(Guess("10/23/99 x 13:55:36"), Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(Guess("943920000 x"), 943920000);
  EXPECT_EQ(Guess("1234 x 631151999"), 0);  // lone numbers outside the two ranges
  EXPECT_EQ(Guess("\"10/23/99 13:55:36\" 1999-01-01"), Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(Guess("Sat, 23 Oct 1999"), 0);  // split by blanks: no field has the shape
  EXPECT_EQ(Guess("a\tSat, 23 Oct 1999\t10:11:12"), Local(1999, 10, 23, 10, 11, 12));
  EXPECT_EQ(Guess("192.168.1.1, -, 03/20/99, 7:55:20, W3SVC2, S, 1.2.3.4, 1, 2, 3, 200, 0, GET, /x, -,"),
            Local(1999, 3, 20, 7, 55, 20));
  SuperLog_SetDateFormat("DMY", kSourceForm);
  EXPECT_EQ(Guess("20/03/1999"), Local(1999, 3, 20));
  // A stamp that has the shape but does not parse, or cannot be
  // represented, gives -1; no date at all gives 0.
  EXPECT_EQ(Guess("[10/oct/1999:13:55:36 -0700]"), -1);
  EXPECT_EQ(Guess("[10/Oct/1800:13:55:36 -0700]"), -1);
  EXPECT_EQ(Guess("GET /index.html 200"), 0);
  EXPECT_EQ(Guess(""), 0);
}

// ---- cached conversions against direct calls

// A stamp as the line parser hands it to mktime.
struct Stamp {
  struct tm tm;
};

Stamp MakeStamp(int year, int mon, int mday, int hour, int min, int sec, int isdst) {
  Stamp s = {};
  s.tm.tm_year = year - 1900;
  s.tm.tm_mon = mon;
  s.tm.tm_mday = mday;
  s.tm.tm_hour = hour;
  s.tm.tm_min = min;
  s.tm.tm_sec = sec;
  s.tm.tm_isdst = isdst;
  return s;
}

// Stamps of a log around every zone change of the years 1970-2037 (the
// wall clock in steps of a few seconds, and the local times of instants), random stamps over the whole
// 32-bit range, runs of one minute, and unnormalised or forced-DST stamps.
std::vector<Stamp> TestStamps(std::mt19937& rng) {
  std::vector<Stamp> stamps;
  for (ll::time32_t t = 0; t < 2100000000; t += 86400 / 2) {
    struct tm a, b;
    ll::Localtime32(t, &a);
    ll::Localtime32(t + 43200, &b);
    if (a.tm_gmtoff == b.tm_gmtoff) continue;
    // A change within the next twelve hours: find it, then walk the wall
    // clock from two hours before it to two hours after.
    ll::time32_t lo = t, hi = t + 43200;
    while (hi - lo > 1) {
      const ll::time32_t mid = lo + (hi - lo) / 2;
      struct tm m;
      ll::Localtime32(mid, &m);
      (m.tm_gmtoff == a.tm_gmtoff ? lo : hi) = mid;
    }
    struct tm w;
    ll::Localtime32(hi - 7200, &w);
    for (int step = 0; step < 600; ++step) {
      stamps.push_back(MakeStamp(w.tm_year + 1900, w.tm_mon, w.tm_mday, w.tm_hour, w.tm_min, w.tm_sec, -1));
      w.tm_sec += 1 + static_cast<int>(rng() % 37);
      w.tm_isdst = -1;
      timegm(&w);  // normalise the wall clock without any zone
    }
    // A log in time order written in local time: an hour put back is
    // written twice.
    for (ll::time32_t u = hi - 7200; u < hi + 7200; u += 1 + static_cast<ll::time32_t>(rng() % 37)) {
      struct tm l;
      ll::Localtime32(u, &l);
      stamps.push_back(MakeStamp(l.tm_year + 1900, l.tm_mon, l.tm_mday, l.tm_hour, l.tm_min, l.tm_sec, -1));
    }
  }
  for (int i = 0; i < 10000; ++i) {
    const ll::time32_t t = static_cast<ll::time32_t>(rng());
    struct tm l;
    ll::Localtime32(t, &l);
    const int kind = static_cast<int>(rng() % 6);
    Stamp s = MakeStamp(l.tm_year + 1900, l.tm_mon, l.tm_mday, l.tm_hour, l.tm_min, l.tm_sec, -1);
    if (kind == 1) s.tm.tm_isdst = l.tm_isdst;  // as ParseEpoch leaves it
    if (kind == 2) s.tm.tm_isdst = !l.tm_isdst;
    if (kind == 3) s.tm.tm_sec = 60 + static_cast<int>(rng() % 3);
    if (kind == 4) s.tm.tm_min += 60, s.tm.tm_mon = 12;
    stamps.push_back(s);
    for (int k = static_cast<int>(rng() % 4); k > 0; --k) {  // more of the same minute
      s.tm.tm_sec = static_cast<int>(rng() % 60);
      stamps.push_back(s);
    }
  }
  return stamps;
}

ll::time32_t HourLater(ll::time32_t t) { return static_cast<ll::time32_t>(static_cast<uint32_t>(t) + 3600u); }

bool SameTm(const struct tm& a, const struct tm& b) {
  return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour && a.tm_mday == b.tm_mday &&
         a.tm_mon == b.tm_mon && a.tm_year == b.tm_year && a.tm_wday == b.tm_wday && a.tm_yday == b.tm_yday &&
         a.tm_isdst == b.tm_isdst && a.tm_gmtoff == b.tm_gmtoff;
}

// mktime remembers the offset of its last answer: both runs start alike.
void PrimeMktime() {
  struct tm tm = {};
  tm.tm_year = 100;
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  ll::Mktime32(&tm);
}

void ExpectCacheMatchesDirectCalls(const char* zoneName) {
  ScopedZone zone(zoneName);
  std::mt19937 rng(12345);
  const std::vector<Stamp> stamps = TestStamps(rng);
  std::vector<ll::time32_t> direct;
  std::vector<struct tm> directLocal;
  PrimeMktime();
  for (const Stamp& s : stamps) {
    struct tm work = s.tm;
    direct.push_back(ll::Mktime32(&work));
    struct tm l = {};
    ll::Localtime32(HourLater(direct.back()), &l);
    directLocal.push_back(l);
  }
  ClearTimeCaches();
  PrimeMktime();
  size_t mismatches = 0, answeredByCache = 0;
  for (size_t i = 0; i < stamps.size(); ++i) {
    const MktimeCache& c = mState.mMktimeCache;
    const struct tm& k = stamps[i].tm;
    answeredByCache += c.usable && c.min == k.tm_min && c.hour == k.tm_hour && c.mday == k.tm_mday &&
                       c.mon == k.tm_mon && c.year == k.tm_year && c.isdst == k.tm_isdst && k.tm_sec >= 0 &&
                       k.tm_sec < 60;
    const ll::time32_t cached = CachedMktime32(&stamps[i].tm);
    struct tm l = {};
    CachedLocaltime32(HourLater(cached), &l);
    const bool same = cached == direct[i] && SameTm(l, directLocal[i]);
    if (!same && ++mismatches <= 5) {
      ADD_FAILURE() << zoneName << ": stamp " << i << " " << Show(stamps[i].tm) << " isdst "
                    << stamps[i].tm.tm_isdst << ": cached " << cached << ", direct " << direct[i];
    }
  }
  EXPECT_EQ(mismatches, 0u) << zoneName << ", of " << stamps.size() << " stamps";
  EXPECT_GT(answeredByCache, stamps.size() / 4) << zoneName;  // the cache is really used
}

TEST_F(ReaderTest, CachedConversionsEqualDirectCallsNewYork) { ExpectCacheMatchesDirectCalls("America/New_York"); }

TEST_F(ReaderTest, CachedConversionsEqualDirectCallsBerlin) { ExpectCacheMatchesDirectCalls("Europe/Berlin"); }

// Half-hour daylight saving, and a zone that changed by 44 minutes 30 s.
TEST_F(ReaderTest, CachedConversionsEqualDirectCallsOddZones) {
  ExpectCacheMatchesDirectCalls("Australia/Lord_Howe");
  ExpectCacheMatchesDirectCalls("Africa/Monrovia");
}

}  // namespace

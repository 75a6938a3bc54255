// Timestamp parsers and the line classifier.
#include <array>

#include "superlog_test_util.h"

namespace {

using sltest::Local;
using sltest::ReaderTest;

using Parser = void (*)(char*, struct tm*);
#define PARSER(f) [](char* t, struct tm* tm) { f(t, tm); }

// Each parser runs on a record of -7s, so members it did not write show (year
// 1893, month -6), under the date order of its row.
TEST_F(ReaderTest, FieldParsersWriteOnlyWhatTheyRead) {
  const Parser clf = PARSER(ParseDateTime1), date2 = PARSER(ParseDate2), date4 = PARSER(ParseDateTime4),
               date5 = PARSER(ParseDate5), time9 = PARSER(ParseTime9), epoch = PARSER(ParseEpoch);
  const char* const kNothing = "1893--6--7 -7:-7:-7";
  const std::tuple<const char*, Parser, const char*, const char*> cases[] = {
      {"", clf, "10/Oct", "1900-10-10 0:0:0"},  // missing parts are 0
      {"", clf, "10/oct/1999:13:55:36", kNothing},  // month names keep their case
      {"", date4, "10/23/1999  7:05", "1999-10-23 7:5:0"},
      {"", date5, "Sat, 3   DEC 2001 10:00", "2001-12-3 -7:-7:-7"},
      {"", date5, "Sat, 23 Oc", "1900-1-23 -7:-7:-7"},  // short texts are never read past their end
      {"", date5, "99/10/23", "1999-10-23 -7:-7:-7"},  // numeric: the year first or last
      {"", time9, "13", kNothing},
      // Seconds since 1970; 2^31 and more is negative and moved on by the
      // seconds from 1900 to 1970, wrapping; when that is no better, it stays.
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
  setenv("TZ", "America/New_York", 1), tzset();
  SuperLog_SetFixGmt("1", kSourceForm);
  ComputeStartupTimes();
  setenv("TZ", "UTC", 1), tzset();
  EXPECT_EQ(mState.mEpochStart, 18000);
  EXPECT_EQ(mState.mGmtOffset, -18000);
}

// The minute cache answers as mktime does for every few seconds of the hours around zone changes, also
// where offsets of odd seconds put a change inside a minute, and at the end of 32-bit time.
TEST_F(ReaderTest, MinuteCacheAnswersAsMktime) {
  for (const char* zone : {"EST5EDT,M3.2.0,M11.1.0", "AAA-0:00:30BBB-0:01:00,M3.2.0/2,M11.1.0/2"}) {
    setenv("TZ", zone, 1), tzset();
    ClearTimeCaches();
    for (const auto& [year, month, day, hour] : {std::array{2038, 1, 19, 2}, {2024, 3, 10, 1}, {2024, 11, 3, 0}}) {
      for (int s = 0; s < 3 * 3600; s += 7) {
        struct tm tm = {};
        tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day, tm.tm_hour = hour + s / 3600;
        tm.tm_min = s / 60 % 60, tm.tm_sec = s % 60, tm.tm_isdst = -1;
        struct tm copy = tm;
        ASSERT_EQ(CachedMktime32(&tm), ll::Mktime32(&copy)) << zone << " " << year << "-" << month << "-" << day << " +" << s;
      }
    }
    EXPECT_TRUE(mState.mMktimeCache.usable) << "an ordinary minute is kept";
  }
  setenv("TZ", "UTC", 1), tzset();
}

TEST_F(ReaderTest, ClassifierDatesLinesByFieldShapes) {
  const std::pair<const char*, ll::time32_t> cases[] = {
      {"1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1", Local(1999, 10, 10, 13, 55, 36)},
      {"1999-10-23 13:55:36 10.0.0.1 GET /x", Local(1999, 10, 23, 13, 55, 36)},
      {"2001/13/05", Local(2001, 5, 13)},  // year first, then only YDM makes sense
      {"2001/12/05", Local(2001, 12, 5)},
      {"1/2/05", 0},                       // no number above 91: a time
      {"13:55:36 1999-10-23 08:00:00", Local(1999, 10, 23, 13, 55, 36)},  // the latest time wins
      {"13:55:36 1999-10-23 13:55:37", Local(1999, 10, 23, 13, 55, 37)},  // to the second
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
    ll::CopyText(mState.mLineBuf, kLineBufSize, line);
    EXPECT_EQ(GuessDateTimeFromLine(), expected) << line;
  }
  int32_t n[3], year = 0;
  EXPECT_EQ(ParseTripletAndGuessType(" \t10/23/1999", n, &year), 1);  // leading blanks are skipped
  EXPECT_EQ(std::vector<int32_t>(n, n + 3), (std::vector<int32_t>{10, 23, 99}));  // years since 1900
  EXPECT_EQ(ParseTripletAndGuessType(" \t", n, &year), 0);
}

}  // namespace

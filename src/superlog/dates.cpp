// Log timestamps: one parser per stamp shape, the shape classifier used when
// nothing is known about a log, the date-order and GMT settings, and the
// cached calendar conversions of the line parser.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "superlog/superlog_state.h"

namespace {

constexpr uint32_t kSecondsFrom1900To1970 = 2208988800u;

// Reads the digits at p as an unsigned decimal that wraps at 32 bits (no
// length limit).  No digits give 0.  Returns the first non-digit.
inline const char* ReadNumber(const char* p, uint32_t* value) {
  uint32_t v = 0;
  while (static_cast<unsigned char>(*p - '0') < 10) v = v * 10 + static_cast<uint32_t>(*p++ - '0');
  *value = v;
  return p;
}

// Years above 1899 are full years; smaller numbers are already years since
// 1900 (so 99 is 1999 and 05 is 1905).
inline int32_t YearRule(int32_t n) { return n > 1899 ? n - 1900 : n; }

// Reads up to three numbers, each followed by one separator character of
// any kind; stops early at the end of the text.  Missing numbers stay 0.
// Returns the position after the last separator taken.
const char* ReadTriplet(const char* p, int32_t out[3], bool yearRule) {
  out[0] = out[1] = out[2] = 0;
  for (int i = 0; i < 3; ++i) {
    uint32_t v;
    p = ReadNumber(p, &v);
    out[i] = yearRule ? YearRule(static_cast<int32_t>(v)) : static_cast<int32_t>(v);
    if (*p == 0) break;
    ++p;
  }
  return p;
}

// Stores a numeric date in tm in the given order (1 DMY ... 6 YMD); any
// other order writes nothing.
void AssignDate(int32_t order, const int32_t n[3], struct tm* tm) {
  int32_t day, month, year;
  switch (order) {
    case 1: day = n[0], month = n[1], year = n[2]; break;
    case 2: day = n[0], year = n[1], month = n[2]; break;
    case 3: month = n[0], day = n[1], year = n[2]; break;
    case 4: month = n[0], year = n[1], day = n[2]; break;
    case 5: year = n[0], day = n[1], month = n[2]; break;
    case 6: year = n[0], month = n[1], day = n[2]; break;
    default: return;
  }
  tm->tm_mday = day;
  tm->tm_mon = month - 1;
  tm->tm_year = year;
}

// Reads a run of digits that must be followed by ':' or the end of the
// text; moves p past the ':'.  False when another character follows.
bool ReadClockPart(const char*& p, uint32_t* value) {
  p = ReadNumber(p, value);
  if (*p == ':') {
    ++p;
    return true;
  }
  return *p == 0;
}

bool IsAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The shape of a field: each run of digits is "n", each run of ASCII
// letters "a", anything else stays.  At most 30 characters.
void FieldShape(const char* f, char shape[31]) {
  int n = 0;
  while (*f && n < 30) {
    char c = *f;
    if (c >= '0' && c <= '9') {
      shape[n++] = 'n';
      while (*f >= '0' && *f <= '9') ++f;
    } else if (IsAsciiLetter(c)) {
      shape[n++] = 'a';
      while (IsAsciiLetter(*f)) ++f;
    } else {
      shape[n++] = c;
      ++f;
    }
  }
  shape[n] = 0;
}

// Seconds counts from 1970 or from 1904 that fall between 1990-01-01 and
// 2020-01-02 UTC; other lone numbers are not taken for timestamps.
bool IsPlausibleEpoch(const char* f) {
  uint32_t v;
  ReadNumber(f, &v);
  return (v >= 631152000u && v <= 1577923200u) || (v >= 2713996800u && v <= 3660768000u);
}

bool SameMinute(const struct tm& a, const struct tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
         a.tm_hour == b.tm_hour && a.tm_min == b.tm_min;
}

// True when the 60 seconds from start read as one minute of one zone
// offset; first is filled with the reading of start.
bool PlainMinute(int64_t start, struct tm* first) {
  if (start < INT32_MIN || start + 59 > INT32_MAX) return false;
  struct tm last;
  if (!ll::Localtime32(static_cast<ll::time32_t>(start), first) ||
      !ll::Localtime32(static_cast<ll::time32_t>(start + 59), &last)) {
    return false;
  }
  return first->tm_sec == 0 && last.tm_sec == 59 && SameMinute(*first, last) &&
         first->tm_gmtoff == last.tm_gmtoff && first->tm_isdst == last.tm_isdst;
}

}  // namespace

// ---- settings

void SuperLog_SetDateFormat(const char* value, int32_t source) {
  static const char* const kOrders[6] = {"DMY", "DYM", "MDY", "MYD", "YDM", "YMD"};
  SuperLogState& s = mState;
  if (s.mDateFormatSource > source || !value) return;
  for (int32_t i = 0; i < 6; ++i) {
    if (strcasecmp(value, kOrders[i]) == 0) {
      s.mDateFormat = i + 1;
      s.mDateFormatSource = source;
      return;
    }
  }
}

void SuperLog_SetFixGmt(const char* value, int32_t source) {
  SuperLogState& s = mState;
  if (s.mFixGmtSource > source || !value) return;
  s.mFixGmt = atoi(value) != 0;
  s.mFixGmtSource = source;
}

int32_t SuperLog_GetDateFormat() { return mState.mDateFormat; }

// January 3 keeps daylight saving out of the GMT offset.
void ComputeStartupTimes() {
  SuperLogState& s = mState;
  struct tm tm = {};
  tm.tm_year = 70;
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  s.mEpochStart = ll::Mktime32(&tm);
  tm = {};
  tm.tm_year = 120;
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  s.mEpochEnd = ll::Mktime32(&tm);
  s.mGmtOffset = 0;
  if (s.mFixGmt) {
    const ll::time32_t t = 172800;
    struct tm g, l;
    ll::time32_t gt = 0, lt = 0;
    if (ll::Gmtime32(t, &g)) gt = ll::Mktime32(&g);
    if (ll::Localtime32(t, &l)) {
      l.tm_isdst = -1;
      lt = ll::Mktime32(&l);
    }
    if (gt != 0 && lt != 0) s.mGmtOffset = static_cast<int32_t>(static_cast<uint32_t>(lt) - static_cast<uint32_t>(gt));
  }
  ClearTimeCaches();
}

// ---- cached conversions
//
// Performance note: a busy log has many lines per minute, and mktime and
// localtime cost far more than the rest of a line.  Each cache holds one
// minute.  A minute is cached only when its 60 seconds read as one minute
// of one zone offset, and (for mktime) when the broken-down key reads back
// unchanged, so that every cached answer equals the direct call's.
// Minutes in a daylight-saving gap, with a zone change inside them, at the
// 32-bit limits, or written unnormalised go to the C library every time.
// glibc's mktime remembers the offset of its last answer and starts from
// it, which decides how an ambiguous or missing local time is read; the
// cache therefore keeps only the last minute, passes each first stamp of a
// minute to mktime itself, and answers only where the remembered offset is
// the same as after the direct calls.

void ClearTimeCaches() {
  mState.mMktimeCache = MktimeCache{};
  mState.mLocaltimeCache = LocaltimeCache{};
}

ll::time32_t CachedMktime32(const struct tm* tm) {
  struct tm work = *tm;
  if (tm->tm_sec < 0 || tm->tm_sec > 59) return ll::Mktime32(&work);
  MktimeCache& c = mState.mMktimeCache;
  const bool same = c.filled && c.min == tm->tm_min && c.hour == tm->tm_hour && c.mday == tm->tm_mday &&
                    c.mon == tm->tm_mon && c.year == tm->tm_year && c.isdst == tm->tm_isdst;
  if (same && c.usable) return c.minuteStart + tm->tm_sec;
  // Always the stamp itself goes to mktime (never a probe of second 0),
  // so that mktime sees the same calls as without the cache.
  const ll::time32_t t = ll::Mktime32(&work);
  if (same) return t;
  c.filled = true;
  c.usable = false;
  c.year = tm->tm_year, c.mon = tm->tm_mon, c.mday = tm->tm_mday;
  c.hour = tm->tm_hour, c.min = tm->tm_min, c.isdst = tm->tm_isdst;
  struct tm first;
  const int64_t start = int64_t{t} - tm->tm_sec;
  if (t != -1 && PlainMinute(start, &first) && SameMinute(first, *tm) &&
      (tm->tm_isdst < 0 || (tm->tm_isdst > 0) == (first.tm_isdst > 0))) {
    c.usable = true;
    c.minuteStart = static_cast<ll::time32_t>(start);
    // The reading of this minute is the one CachedLocaltime32 would make for
    // any second of it: a hit's own time (no GMT correction) finds it ready.
    LocaltimeCache& l = mState.mLocaltimeCache;
    l.filled = true;
    l.minuteStart = c.minuteStart;
    l.tm = first;
  }
  return t;
}

bool CachedLocaltime32(ll::time32_t t, struct tm* out) {
  LocaltimeCache& c = mState.mLocaltimeCache;
  const int64_t into = static_cast<int64_t>(t) - c.minuteStart;
  if (c.filled && into >= 0 && into < 60) {
    *out = c.tm;
    out->tm_sec = static_cast<int>(into);
    return true;
  }
  if (!ll::Localtime32(t, out)) return false;
  struct tm first;
  const int64_t start = static_cast<int64_t>(t) - out->tm_sec;
  c.filled = out->tm_sec < 60 && PlainMinute(start, &first) && SameMinute(first, *out);
  if (c.filled) {
    c.minuteStart = static_cast<ll::time32_t>(start);
    c.tm = first;
  }
  return true;
}

// ---- field parsers: each writes only the members it parses, and nothing
// when the text does not have its shape.

// A count of seconds, from 1970 or (when that is implausible) from 1900;
// 32-bit arithmetic throughout.
void ParseEpoch(const char* text, struct tm* tm) {
  if (!text || !*text) return;
  const SuperLogState& s = mState;
  uint32_t u;
  ReadNumber(text, &u);
  const int32_t v = static_cast<int32_t>(u);
  int32_t t = v;
  if (v < s.mEpochStart || v > s.mEpochEnd) {
    t = static_cast<int32_t>(v < s.mEpochStart ? u + kSecondsFrom1900To1970 : u - kSecondsFrom1900To1970);
    if (t < s.mEpochStart || t > s.mEpochEnd) t = v;
  }
  struct tm local;
  if (CachedLocaltime32(t, &local)) *tm = local;
}

namespace {

constexpr uint32_t ThreeBytes(const char* t) {
  return uint32_t{static_cast<unsigned char>(t[0])} << 16 |
         uint32_t{static_cast<unsigned char>(t[1])} << 8 | static_cast<unsigned char>(t[2]);
}

// The month (0 to 11) whose English abbreviation, in that spelling, starts
// text; -1 for none.  One switch instead of a comparison per month.
int32_t MonthAbbreviation(const char* text) {
  if (!text[0] || !text[1] || !text[2]) return -1;
  switch (ThreeBytes(text)) {
    case ThreeBytes("Jan"): return 0;
    case ThreeBytes("Feb"): return 1;
    case ThreeBytes("Mar"): return 2;
    case ThreeBytes("Apr"): return 3;
    case ThreeBytes("May"): return 4;
    case ThreeBytes("Jun"): return 5;
    case ThreeBytes("Jul"): return 6;
    case ThreeBytes("Aug"): return 7;
    case ThreeBytes("Sep"): return 8;
    case ThreeBytes("Oct"): return 9;
    case ThreeBytes("Nov"): return 10;
    case ThreeBytes("Dec"): return 11;
    default: return -1;
  }
}

}  // namespace

// A CLF stamp "10/Oct/1999:13:55:36 -0700"; the zone is not read.
void ParseDateTime1(const char* text, struct tm* tm) {
  if (!text) return;
  uint32_t day, year = 0, hour = 0, minute = 0, second = 0;
  const char* p = ReadNumber(text, &day);
  if (*p != '/') return;
  ++p;
  const int32_t month = MonthAbbreviation(p);
  if (month < 0) return;
  p += p[3] ? 4 : 3;  // the character after the month is not examined
  if (!ReadClockPart(p, &year) || !ReadClockPart(p, &hour) || !ReadClockPart(p, &minute)) return;
  ReadNumber(p, &second);
  tm->tm_mday = static_cast<int32_t>(day);
  tm->tm_mon = month;
  tm->tm_year = YearRule(static_cast<int32_t>(year));
  tm->tm_hour = static_cast<int32_t>(hour);
  tm->tm_min = static_cast<int32_t>(minute);
  tm->tm_sec = static_cast<int32_t>(second);
}

// Three numbers in the configured date order, such as 10/23/99.
void ParseDate2(const char* text, struct tm* tm) {
  if (!text || !*text) return;
  int32_t n[3];
  ReadTriplet(text, n, true);
  AssignDate(mState.mDateFormat, n, tm);
}

// Year, month, day whatever the configured order, such as 1999-10-23.
void ParseDate3(const char* text, struct tm* tm) {
  if (!text || !*text) return;
  int32_t n[3];
  ParseDateOrTimeTriplet(text, n);
  tm->tm_year = n[0];
  tm->tm_mon = n[1] - 1;
  tm->tm_mday = n[2];
}

// A date in the configured order, a blank, then a time of day.
void ParseDateTime4(const char* text, struct tm* tm) {
  if (!text || !*text) return;
  int32_t n[3];
  const char* rest = ReadTriplet(text, n, true);
  AssignDate(mState.mDateFormat, n, tm);
  if (*rest) {
    ParseDateOrTimeTriplet(rest, n);
    tm->tm_hour = n[0];
    tm->tm_min = n[1];
    tm->tm_sec = n[2];
  }
}

// WebSTAR dates: "Sat, 23 Oct 1999" (the month is cut in place), or a
// numeric date whose year comes first or last.
void ParseDate5(char* text, struct tm* tm) {
  if (!text || !*text) return;
  if (IsAsciiLetter(text[0])) {
    const size_t len = strlen(text);
    if (len < 4 || text[3] != ',') return;
    uint32_t day;
    const char* p = ReadNumber(text + (len > 5 ? 5 : len), &day);
    while (*p == ' ') ++p;
    char* monthText = text + (p - text);
    const bool threeLetters = strnlen(monthText, 3) == 3;
    const bool yearFollows = threeLetters && monthText[3] != 0;
    if (threeLetters) monthText[3] = 0;
    int32_t month = 0;
    for (int32_t i = 0; i < 12; ++i) {
      if (strcasecmp(monthText, mpMonthStrs[i]) == 0) month = i;
    }
    uint32_t year = 0;
    if (yearFollows) ReadNumber(monthText + 4, &year);
    tm->tm_mday = static_cast<int32_t>(day);
    tm->tm_mon = month;
    tm->tm_year = YearRule(static_cast<int32_t>(year));
    return;
  }
  int32_t n[3];
  ReadTriplet(text, n, false);
  if (n[0] > 89) {
    tm->tm_year = YearRule(n[0]), tm->tm_mon = YearRule(n[1]) - 1, tm->tm_mday = YearRule(n[2]);
  } else if (n[2] > 89) {
    tm->tm_mon = YearRule(n[0]) - 1, tm->tm_mday = YearRule(n[1]), tm->tm_year = YearRule(n[2]);
  }
}

// A time of day "13:55:36"; the hour must be followed by ':'.
void ParseTime9(const char* text, struct tm* tm) {
  if (!text) return;
  uint32_t hour, minute = 0, second = 0;
  const char* p = ReadNumber(text, &hour);
  if (*p != ':') return;
  ++p;
  if (!ReadClockPart(p, &minute)) return;
  ReadNumber(p, &second);
  tm->tm_hour = static_cast<int32_t>(hour);
  tm->tm_min = static_cast<int32_t>(minute);
  tm->tm_sec = static_cast<int32_t>(second);
}

void ParseDateOrTimeTriplet(const char* text, int32_t out[3]) {
  out[0] = out[1] = out[2] = 0;
  if (!text) return;
  while (*text == ' ') ++text;
  ReadTriplet(text, out, true);
}

// 1: a date (some number is above 91; *yearIndex is the last such), 2: a
// time, 0: no numbers at all.
int ParseTripletAndGuessType(const char* text, int32_t out[3], int32_t* yearIndex) {
  out[0] = out[1] = out[2] = 0;
  if (!text) return 0;
  while (*text == ' ' || *text == '\t') ++text;
  if (!*text) return 0;
  ReadTriplet(text, out, false);
  bool date = false;
  for (int32_t i = 0; i < 3; ++i) {
    if (out[i] > 91) {
      date = true;
      *yearIndex = i;
    }
  }
  if (!date) return 2;
  out[*yearIndex] = YearRule(out[*yearIndex]);
  return 1;
}

// A date triplet (year first: YMD, or YDM when only that makes sense;
// otherwise the configured order) or a time triplet, of which the latest
// time of day seen on the line is kept.
void ParseGenericTriplet(const char* text, struct tm* tm, int32_t* haveDate, int32_t* haveTime) {
  int32_t n[3];
  int32_t yearIndex = 2;
  const int kind = ParseTripletAndGuessType(text, n, &yearIndex);
  if (kind == 1) {
    int32_t order = mState.mDateFormat;
    if (yearIndex == 0) order = (n[1] > 12 && n[2] <= 12) ? 5 : 6;
    AssignDate(order, n, tm);
    *haveDate = 1;
  } else if (kind == 2) {
    const int64_t stored = int64_t{tm->tm_hour} * 3600 + int64_t{tm->tm_min} * 60 + tm->tm_sec;
    const int64_t found = int64_t{n[0]} * 3600 + int64_t{n[1]} * 60 + n[2];
    if (!*haveTime || found > stored) {
      tm->tm_hour = n[0];
      tm->tm_min = n[1];
      tm->tm_sec = n[2];
    }
    *haveTime = 1;
  }
}

// Dates the current line by the shapes of its fields alone.  Returns the
// local calendar time (no GMT shift), -1 when mktime fails, 0 when the line
// holds no date.  Splits mLineBuf in place.
ll::time32_t GuessDateTimeFromLine() {
  SuperLogState& s = mState;
  int32_t tabs = 0, commas = 0;
  for (const char* p = s.mLineBuf; *p; ++p) {
    tabs += (*p == '\t');
    commas += (*p == ',');
  }
  const int32_t sep = commas > 14 ? 'C' : (tabs > 0 ? 'T' : 'S');
  struct tm tm = {};
  tm.tm_isdst = -1;
  int32_t haveDate = 0, haveTime = 0;
  bool dated = false;
  s.mpFieldStart = s.mLineBuf;
  while (!dated && *s.mpFieldStart) {
    SplitField(sep);
    s.mpFieldStart = s.mpNextFieldStart;
    if (s.mValidLen == 0) continue;
    char* field = s.mpValidStart;
    char shape[31];
    FieldShape(field, shape);
    if (strcmp(shape, "n") == 0) {
      if (IsPlausibleEpoch(field)) {
        ParseEpoch(field, &tm);
        dated = true;
      }
    } else if (strcmp(shape, "n/a/n:n:n:n -n") == 0 || strcmp(shape, "n/a/n:n:n:n +n") == 0 ||
               strcmp(shape, "n/a/n:n:n:n n") == 0) {
      ParseDateTime1(field, &tm);
      dated = true;
    } else if (strcmp(shape, "n/n/n n:n:n") == 0) {
      ParseDateTime4(field, &tm);
      dated = true;
    } else if (strcmp(shape, "a, n a n") == 0) {
      ParseDate5(field, &tm);
      haveDate = 1;
    } else if (strlen(shape) == 5 && shape[0] == 'n' && shape[2] == 'n' && shape[4] == 'n') {
      ParseGenericTriplet(field, &tm, &haveDate, &haveTime);
    }
  }
  if (dated || haveDate) return ll::Mktime32(&tm);
  return 0;
}

// Calendar time as a signed 32-bit count of seconds.
//
// The program's calendar time is the classic 32-bit time_t: dates before
// 13 December 1901 or after 19 January 2038 cannot be represented, and code
// that reads log stamps relies on mktime failing (-1) for them.  This layer
// wraps the C library's 64-bit calls so that every result matches a 32-bit
// platform.
#pragma once

#include <cstdint>
#include <ctime>

namespace ll {

using time32_t = int32_t;

// The current time.
time32_t Time32Now();

// mktime: normalises *tm in place and returns the calendar time, or -1 when
// the C library fails or the result does not fit 32 bits (then *tm is left
// as the C library left it).
time32_t Mktime32(struct tm* tm);

// localtime_r / gmtime_r of a 32-bit time; false when the conversion fails.
bool Localtime32(time32_t t, struct tm* out);
bool Gmtime32(time32_t t, struct tm* out);

// ctime text ("Thu Jan  1 00:00:00 1970\n") of a 32-bit time, in a static
// buffer that the next call overwrites; "" when the conversion fails.
const char* Ctime32(time32_t t);

}  // namespace ll

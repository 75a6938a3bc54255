#include "base/time32.h"

#include <climits>
#include <cstring>

namespace ll {

time32_t Time32Now() { return static_cast<time32_t>(std::time(nullptr)); }

time32_t Mktime32(struct tm* tm) {
  time_t t = std::mktime(tm);
  if (t == static_cast<time_t>(-1) || t < INT32_MIN || t > INT32_MAX) return -1;
  return static_cast<time32_t>(t);
}

bool Localtime32(time32_t t, struct tm* out) {
  time_t wide = t;
  return localtime_r(&wide, out) != nullptr;
}

bool Gmtime32(time32_t t, struct tm* out) {
  time_t wide = t;
  return gmtime_r(&wide, out) != nullptr;
}

const char* Ctime32(time32_t t) {
  static char buf[64];
  struct tm tm;
  if (!Localtime32(t, &tm) || !asctime_r(&tm, buf)) buf[0] = 0;
  return buf;
}

}  // namespace ll

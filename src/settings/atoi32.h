// Numbers in parameters, configuration values and CGI variables.
#pragma once

#include <cstdint>

// Reads text with atoi rules as on a 32-bit platform: leading white space,
// an optional sign, then decimal digits; 0 when there are none.  A value
// beyond the 32-bit range is clamped to it (as strtol does there) instead
// of being undefined.  A null text reads as 0.
inline int32_t Atoi32(const char* text) {
  if (!text) return 0;
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  bool negative = false;
  if (*text == '+' || *text == '-') negative = (*text++ == '-');
  const int64_t limit = negative ? int64_t{2147483648} : int64_t{2147483647};
  int64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + (*text - '0');
    if (value > limit) value = limit;  // keep going: the digits are consumed, the value stays
  }
  return static_cast<int32_t>(negative ? -value : value);
}

// A slow, obviously right wildcard matcher and the consistency check that
// the unit tests and the fuzz target run on the real one.  The reference is
// the backtracking algorithm written out plainly: no memo table, no limits,
// so it is only fed short inputs, on which the real one must agree.
#pragma once

#include <cstring>
#include <string>

#include "analysis/wildmat.h"

namespace wildmat_reference {

struct Matcher {
  int lbrace = 0;

  // Moves past the rest of a group from just after one of its characters,
  // counting nesting from depth 1; stops after the closing ")" or at the end.
  static const char* PastGroup(const char* p) {
    for (int depth = 1; *p && depth > 0; p++) depth += (*p == '(') - (*p == ')');
    return p;
  }

  int Do(const char* t, const char* p) {
    if (*p == 0) return *t == 0 ? 1 : 0;
    while (true) {
      if (*p == ')') {
        if (lbrace == 0) return -1;
        while (*p == ')') p++;
        if (*p == 0) return *t == 0 ? 1 : 0;
      }
      if (*p == '|') {
        if (lbrace == 0) return -1;
        while (*p == '|') {
          p = PastGroup(p + 1);
          while (*p == ')') p++;
        }
        if (*p == 0) return *t == 0 ? 1 : 0;
      }
      if (*t == 0 && *p != '*' && *p != '(') return -1;
      if (*p == '*') {
        while (*p == '*') p++;
        if (*p == 0) return 1;
        for (size_t i = 0; i <= strlen(t); i++) {
          int r = Do(t + i, p);
          if (r != 0) return r;
        }
        return -1;
      }
      if (*p == '(') {
        lbrace++;
        while (true) {
          if (Do(t, p + 1) == 1) return 1;
          // The next "|" or the closing ")" of this group.
          const char* end = p + 1;
          for (int depth = 1; *end && !((*end == '|' || *end == ')') && depth == 1); end++) depth += (*end == '(') - (*end == ')');
          if (*end == ')') { lbrace--; return 0; }
          if (*end == 0) return -1;
          p = end;
        }
      }
      if (*p == '[') {
        const bool negate = p[1] == '^';
        if (negate) p++;
        bool matched = false;
        if (p[1] == ']' || p[1] == '-') matched = *++p == *t;
        signed char last = (signed char)*p;
        p++;
        while (*p != 0 && *p != ']') {
          if (*p == '-' && p[1] != ']' && p[1] != 0) {
            signed char lo = last, hi = (signed char)p[1], c = (signed char)*t;
            if (c >= lo && c <= hi) matched = true;
            p++;
          } else if (*p == *t) matched = true;
          last = (signed char)*p;
          p++;
        }
        if (matched == negate) return 0;
        t++;
        if (*p == 0) return *t == 0 ? 1 : 0;  // unterminated class
        p++;
        if (*p == 0) return *t == 0 ? 1 : 0;
        continue;
      }
      if (*p == '\\') {
        p++;
        if (*p != *t) return 0;
      } else if (*p != '?' && *p != *t) {
        return 0;
      }
      t++;
      p++;
      if (*p == 0) return *t == 0 ? 1 : 0;
    }
  }
};

inline std::string Lower(std::string s) {
  for (char& c : s) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return s;
}

// Inputs the reference can afford in a fraction of a second.
constexpr size_t kReferenceLimit = 16;

// Runs the real matcher on one input, "pattern\ntext" (a NUL ends either
// part early), and returns what was wrong, or "" when every answer agrees.
inline std::string CheckWildmatInput(const char* data, size_t size) {
  const std::string in(data, size);
  const size_t cut = in.find('\n');
  const std::string pattern = in.substr(0, cut).c_str(), text = cut == std::string::npos ? "" : in.substr(cut + 1).c_str();
  const int r = DoMatch(text.c_str(), pattern.c_str());
  if (r < -1 || r > 1) return "DoMatch gave " + std::to_string(r);
  if (super_wildmat(pattern.c_str(), text.c_str()) != (pattern == "*" || r == 1 ? 0 : 1)) return "super_wildmat disagrees with DoMatch";
  if (super_wildmati(pattern.c_str(), text.c_str()) != super_wildmat(Lower(pattern).c_str(), Lower(text).c_str()))
    return "super_wildmati disagrees with super_wildmat on folded copies";
  if (pattern.size() > kReferenceLimit || text.size() > kReferenceLimit) return "";
  const int want = Matcher().Do(text.c_str(), pattern.c_str());
  return want == r ? "" : "DoMatch gave " + std::to_string(r) + ", the reference " + std::to_string(want);
}

}  // namespace wildmat_reference

// Wildcard matching for the find pattern.
//
// Performance notes.  The matcher backtracks like the classic wildmat: a "*"
// tries the rest of the pattern at every later position, and an abort (-1)
// from a deeper level stops all backtracking at once, which keeps patterns
// of "*", "?" and classes polynomial.  Alternatives are different: a group
// swallows an abort from one branch and tries the next, so a pattern such as
// "(a|a)(a|a)...(a|a)b" would cost 2^k tries.  Since the pattern comes from
// the report form, every recursive try is remembered for the length of one
// top-level match, keyed by (text position, pattern position, whether any
// group is open).  A repeated try is one table look-up, so a match costs at
// most O(text x pattern) tries whatever the pattern, and its answer is the
// one plain backtracking would give.  The table is allocated once and reused;
// a generation stamp makes clearing it per match unnecessary.
//
// Why the key needs only "whether a group is open": the open-group counter
// (lbrace) is read only by the tests "lbrace == 0" of a ")" or "|" outside
// any group, and a call never leaves lbrace below its value on entry (a group
// gives back only its own increment).  So a try's answer and whether it
// raised the counter depend on (text, pattern, lbrace == 0) alone.
//
// Two safety limits remain for callers that pass texts far longer than the
// program's 243-character buffers: recursion deeper than kMaxDepth, and,
// when the inputs are too large for the table, more than kMaxTriesUnmemoised
// tries, end the match as "no match possible".
#include "analysis/wildmat.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kMatch = 1;
constexpr int kNoMatch = 0;
constexpr int kAbort = -1;

constexpr int kMaxDepth = 2000;
constexpr size_t kMaxMemoCells = size_t{1} << 19;  // (text+1) x (pattern+1) x 2
constexpr uint64_t kMaxTriesUnmemoised = uint64_t{1} << 22;

struct MemoCell {
  uint32_t generation;  // the match that filled it; 0 = never
  int8_t result;        // 1, 0 or -1
  uint8_t raisedLbrace; // the try left a group open (lbrace went up)
};

// Module state: the open-group counter and the bookkeeping of one match.
struct WildmatState {
  int lbrace = 0;                 // groups open at the current point of a match
  const char* text = nullptr;     // start of the text of the current match
  const char* pattern = nullptr;  // start of its pattern
  size_t patternSpan = 0;         // pattern length + 1
  MemoCell* memo = nullptr;       // remembered tries, memoCells long
  size_t memoCells = 0;
  bool useMemo = false;
  uint32_t generation = 0;
  int depth = 0;
  uint64_t tries = 0;
  bool gaveUp = false;            // a safety limit ended the match
  char* lowerText = nullptr;      // folded copies for super_wildmati, reused
  size_t lowerTextSize = 0;
  char* lowerPattern = nullptr;
  size_t lowerPatternSize = 0;
};
WildmatState mWild;

int Match(const char* t, const char* p);

// Prepares the memo table for a match of textLen x patternLen; false when
// the inputs are too large for it or memory is refused.
bool PrepareMemo(size_t textLen, size_t patternLen) {
  if (textLen >= kMaxMemoCells || patternLen >= kMaxMemoCells) return false;
  size_t cells = (textLen + 1) * (patternLen + 1) * 2;
  if (cells > kMaxMemoCells) return false;
  if (cells > mWild.memoCells) {
    void* grown = realloc(mWild.memo, cells * sizeof(MemoCell));
    if (!grown) return false;
    mWild.memo = static_cast<MemoCell*>(grown);
    memset(mWild.memo, 0, cells * sizeof(MemoCell));
    mWild.memoCells = cells;
    mWild.generation = 0;
  }
  if (++mWild.generation == 0) {  // stamps wrapped: forget every old stamp
    memset(mWild.memo, 0, mWild.memoCells * sizeof(MemoCell));
    mWild.generation = 1;
  }
  return true;
}

// Moves past the remaining alternatives of the group whose "|" p points at,
// and of every enclosing group closed right behind it.  Returns the first
// pattern position after them (possibly the terminator).
const char* SkipRemainingAlternatives(const char* p) {
  while (*p == '|') {
    int depth = 1;
    for (++p; *p && depth > 0; ++p) {
      if (*p == '(') ++depth;
      else if (*p == ')') --depth;
    }
    while (*p == ')') ++p;
  }
  return p;
}

// Tests the character c against the class that starts at *pp ("["); leaves
// *pp on the closing "]" or on the terminator of an unterminated class.
// Ranges compare signed bytes.  A "-" right before the end of the pattern has
// no upper bound and is taken literally.
bool ClassAccepts(char c, const char** pp) {
  const char* p = *pp;
  bool negated = p[1] == '^';
  if (negated) ++p;
  bool matched = false;
  if (p[1] == ']' || p[1] == '-') matched = *++p == c;
  signed char last = static_cast<signed char>(*p);
  for (++p; *p && *p != ']'; ++p) {
    if (*p == '-' && p[1] != ']' && p[1] != 0) {
      ++p;
      signed char sc = static_cast<signed char>(c);
      if (sc <= static_cast<signed char>(*p) && sc >= last) matched = true;
    } else if (*p == c) {
      matched = true;
    }
    last = static_cast<signed char>(*p);
  }
  *pp = p;
  return matched != negated;
}

// "*" at p: tries the rest of the pattern at every position from t to the
// empty remainder at the end; the first answer that is not 0 stands.
int MatchStar(const char* t, const char* p) {
  while (*p == '*') ++p;
  if (*p == 0) return kMatch;
  for (;; ++t) {
    int r = Match(t, p);
    if (r != kNoMatch) return r;
    if (*t == 0) return kAbort;
  }
}

// "(" at p: tries each alternative in turn, each one carrying the match on
// past the group's end.  0 when none matches, -1 when the group never closes.
int MatchGroup(const char* t, const char* p) {
  ++mWild.lbrace;
  for (;;) {  // p is on the "(" or "|" that introduces the alternative
    if (Match(t, p + 1) == kMatch) return kMatch;
    if (mWild.gaveUp) return kAbort;
    const char* q = p + 1;
    if (*q != '|' && *q != ')') {
      for (int depth = 1; *q; ++q) {
        if (*q == '(') ++depth;
        else if (*q == ')' && --depth == 0) break;
        else if (*q == '|' && depth == 1) break;
      }
    }
    if (*q == ')') {
      --mWild.lbrace;
      return kNoMatch;
    }
    if (*q != '|') return kAbort;
    p = q;
  }
}

// The matcher proper for text t against pattern p: 1, 0 or -1.
int MatchHere(const char* t, const char* p) {
  if (*p == 0) return *t == 0;
  for (;;) {
    if (*p == ')') {
      if (mWild.lbrace == 0) return kAbort;
      while (*p == ')') ++p;
      if (*p == 0) return *t == 0;
    }
    if (*p == '|') {  // the alternative matched up to its end
      if (mWild.lbrace == 0) return kAbort;
      p = SkipRemainingAlternatives(p);
      if (*p == 0) return *t == 0;
    }
    if (*t == 0 && *p != '*' && *p != '(') return kAbort;
    switch (*p) {
      case '?':
        break;
      case '*':
        return MatchStar(t, p);
      case '(':
        return MatchGroup(t, p);
      case '[':
        if (!ClassAccepts(*t, &p)) return kNoMatch;
        break;
      case '\\':
        ++p;  // a trailing backslash leaves p on the terminator, unequal to *t
        if (*t != *p) return kNoMatch;
        break;
      default:
        if (*t != *p) return kNoMatch;
    }
    ++t;
    if (*p) ++p;  // an unterminated class already stands on the terminator
    if (*p == 0) return *t == 0;
  }
}

// One try, through the memo table and the safety limits.
int Match(const char* t, const char* p) {
  if (mWild.gaveUp) return kAbort;
  MemoCell* cell = nullptr;
  if (mWild.useMemo) {
    size_t index = (static_cast<size_t>(t - mWild.text) * mWild.patternSpan +
                    static_cast<size_t>(p - mWild.pattern)) * 2 + (mWild.lbrace == 0);
    cell = &mWild.memo[index];
    if (cell->generation == mWild.generation) {
      if (cell->raisedLbrace) ++mWild.lbrace;
      return cell->result;
    }
  } else if (++mWild.tries > kMaxTriesUnmemoised) {
    mWild.gaveUp = true;
    return kAbort;
  }
  if (mWild.depth >= kMaxDepth) {
    mWild.gaveUp = true;
    return kAbort;
  }
  ++mWild.depth;
  int before = mWild.lbrace;
  int r = MatchHere(t, p);
  --mWild.depth;
  if (cell && !mWild.gaveUp) {
    cell->generation = mWild.generation;
    cell->result = static_cast<int8_t>(r);
    cell->raisedLbrace = mWild.lbrace > before;
  }
  return r;
}

// Copies text lower-cased (ASCII) into *buffer, growing it as needed.
// Returns the copy, or null when memory is refused.
char* FoldedCopy(const char* text, char** buffer, size_t* size) {
  size_t n = strlen(text) + 1;
  if (n > *size) {
    void* grown = realloc(*buffer, n);
    if (!grown) return nullptr;
    *buffer = static_cast<char*>(grown);
    *size = n;
  }
  for (size_t i = 0; i < n; ++i) {
    char c = text[i];
    (*buffer)[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return *buffer;
}

}  // namespace

// A top-level match: lbrace starts at 0 and is back at 0 afterwards.  A match
// that a safety limit ended gives -1.
int DoMatch(const char* text, const char* pattern) {
  if (!text) text = "";
  if (!pattern) pattern = "";
  size_t textLen = strlen(text);
  size_t patternLen = strlen(pattern);
  mWild.text = text;
  mWild.pattern = pattern;
  mWild.patternSpan = patternLen + 1;
  mWild.useMemo = PrepareMemo(textLen, patternLen);
  mWild.lbrace = 0;
  mWild.depth = 0;
  mWild.tries = 0;
  mWild.gaveUp = false;
  int r = Match(text, pattern);
  if (mWild.gaveUp) r = kAbort;
  mWild.lbrace = 0;
  return r;
}

int super_wildmat(const char* pattern, const char* text) {
  if (!pattern) pattern = "";
  if (!text) text = "";
  if (strcmp(pattern, "*") == 0) return 0;
  return DoMatch(text, pattern) == kMatch ? 0 : 1;
}

// The folded copies live in module buffers that are reused from call to
// call, so a match per hit allocates nothing once they have grown.  When
// memory for them is refused, the text counts as not matching.
int super_wildmati(const char* pattern, const char* text) {
  if (!pattern) pattern = "";
  if (!text) text = "";
  if (*pattern == 0) return *text == 0 ? 0 : 1;
  char* p = FoldedCopy(pattern, &mWild.lowerPattern, &mWild.lowerPatternSize);
  if (!p) return 1;
  char* t = FoldedCopy(text, &mWild.lowerText, &mWild.lowerTextSize);
  if (!t) return 1;
  if (strcmp(p, "*") == 0) return 0;
  return DoMatch(t, p) == kMatch ? 0 : 1;
}

void WildmatResetForTesting() {
  free(mWild.memo);
  free(mWild.lowerText);
  free(mWild.lowerPattern);
  mWild = WildmatState{};
}

// Wildcard matching for the find pattern.
//
// Performance notes.  The matcher backtracks like the classic wildmat: a "*"
// tries the rest of the pattern at every later position, and an abort (-1)
// from a deeper level stops all backtracking at once, which keeps patterns
// of "*", "?" and classes polynomial.  Alternatives are different: a group
// swallows an abort from one branch and tries the next, so a pattern such as
// "(a|a)(a|a)...(a|a)b" would cost 2^k tries.  Since the pattern comes from
// the report form, the answers are remembered for the length of one
// top-level match, keyed by (text position, pattern position, whether any
// group is open), in two kinds: one try of the pattern at a text position,
// and one run of a "*" (the first answer that is not 0 from a position
// onwards).  A repeated try or run is one table look-up, so a match costs
// O(text x pattern) tries whatever the pattern (measured: a 201-character
// pattern of 40 "(*|*)" groups against a 243-character URL takes about half
// a millisecond, against 6 ms with tries alone; plain backtracking would not
// finish), and its answer is the one plain backtracking would give.
// The table is allocated once and reused; a generation stamp in each cell
// makes clearing it per match unnecessary.
//
// Why the key needs only "whether a group is open": the open-group counter
// (lbrace) is read only by the tests "lbrace == 0" of a ")" or "|" outside
// any group, and a call never leaves lbrace below its value on entry (a group
// gives back only its own increment).  So an answer, and whether computing it
// raised the counter, depend on (text, pattern, lbrace == 0) alone.
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
constexpr size_t kMaxMemoCells = size_t{1} << 20;  // (text+1) x (pattern+1) x 4
constexpr uint64_t kMaxTriesUnmemoised = uint64_t{1} << 22;

// A remembered answer, packed: bits 3 and up hold the generation of the
// match that stored it (0 = never), bits 1-2 the answer + 1, bit 0 whether
// computing it raised lbrace.
using MemoCell = uint32_t;
constexpr uint32_t kMaxGeneration = (uint32_t{1} << 29) - 1;

enum MemoKind { kTry = 0, kStarRun = 1 };

// Module state: the open-group counter and the bookkeeping of one match.
struct WildmatState {
  int lbrace = 0;                 // groups open at the current point of a match
  const char* text = nullptr;     // start of the text of the current match
  const char* pattern = nullptr;  // start of its pattern
  size_t patternSpan = 0;         // pattern length + 1
  MemoCell* memo = nullptr;       // remembered answers, memoCells long
  size_t memoCells = 0;
  bool useMemo = false;
  bool useStarRuns = false;       // the pattern has groups: remember "*" runs too
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
  size_t cells = (textLen + 1) * (patternLen + 1) * 4;
  if (cells > kMaxMemoCells) return false;
  if (cells > mWild.memoCells) {  // grow geometrically: texts vary from hit to hit
    size_t want = cells < 2 * mWild.memoCells ? 2 * mWild.memoCells : cells;
    if (want > kMaxMemoCells) want = kMaxMemoCells;
    void* grown = realloc(mWild.memo, want * sizeof(MemoCell));
    if (!grown) return false;
    mWild.memo = static_cast<MemoCell*>(grown);
    memset(mWild.memo, 0, want * sizeof(MemoCell));
    mWild.memoCells = want;
    mWild.generation = 0;
  }
  if (++mWild.generation > kMaxGeneration) {  // stamps ran out: forget every old one
    memset(mWild.memo, 0, mWild.memoCells * sizeof(MemoCell));
    mWild.generation = 1;
  }
  return true;
}

// The cell of an answer of the given kind at (t, p) under the current
// lbrace, or null when the match runs without the table.
MemoCell* CellFor(MemoKind kind, const char* t, const char* p) {
  if (!mWild.useMemo) return nullptr;
  size_t at = static_cast<size_t>(t - mWild.text) * mWild.patternSpan +
              static_cast<size_t>(p - mWild.pattern);
  return &mWild.memo[(at * 2 + (mWild.lbrace == 0)) * 2 + kind];
}

// True and *result set when the cell holds an answer of this match; then
// lbrace is raised as computing the answer raised it.
bool Recall(const MemoCell* cell, int* result) {
  if (!cell || (*cell >> 3) != mWild.generation) return false;
  *result = static_cast<int>((*cell >> 1) & 3) - 1;
  if (*cell & 1) ++mWild.lbrace;
  return true;
}

void Remember(MemoCell* cell, int result, bool raisedLbrace) {
  if (!cell || mWild.gaveUp) return;
  *cell = (mWild.generation << 3) | (static_cast<uint32_t>(result + 1) << 1) |
          (raisedLbrace ? 1u : 0u);
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
// Without groups the abort rule already stops repeated runs.  With groups,
// the answer of a run from a position is remembered for every position the
// walk passed, since each of their runs would end at the same answer; when
// the walk raised lbrace the positions saw different counters and nothing is
// remembered.
int MatchStar(const char* t, const char* p) {
  while (*p == '*') ++p;
  if (*p == 0) return kMatch;
  if (!mWild.useStarRuns) {
    for (;; ++t) {
      int r = Match(t, p);
      if (r != kNoMatch) return r;
      if (*t == 0) return kAbort;
    }
  }
  const int lbraceBefore = mWild.lbrace;
  const char* from = t;
  int r;
  for (;; ++t) {
    if (Recall(CellFor(kStarRun, t, p), &r)) break;
    r = Match(t, p);
    if (r != kNoMatch) break;
    if (*t == 0) {
      r = kAbort;
      break;
    }
  }
  if (mWild.lbrace == lbraceBefore)
    for (const char* q = from; q <= t; ++q) Remember(CellFor(kStarRun, q, p), r, false);
  return r;
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
  MemoCell* cell = CellFor(kTry, t, p);
  int r;
  if (Recall(cell, &r)) return r;
  if (!cell && ++mWild.tries > kMaxTriesUnmemoised) {
    mWild.gaveUp = true;
    return kAbort;
  }
  if (mWild.depth >= kMaxDepth) {
    mWild.gaveUp = true;
    return kAbort;
  }
  ++mWild.depth;
  int before = mWild.lbrace;
  r = MatchHere(t, p);
  --mWild.depth;
  Remember(cell, r, mWild.lbrace > before);
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
  mWild.useStarRuns = mWild.useMemo && strchr(pattern, '(') != nullptr;
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

// The reader's inner loop: lines out of the open log file, offered to format
// recognition, split by the template in force and turned into hit records.
//
// Performance notes.  The file is mapped 512 KB at a time, which spares
// the kernel's copy of a read (a file that cannot be mapped is read in
// large chunks); line ends are found 32 bytes at a time with AVX2, or with
// memchr, and each line is copied once into a line buffer, where the
// fields are cut in place by NULs and the hit points into it.  Nothing is
// allocated per line.  The log bytes read are still counted as a reader of
// 8192-byte blocks would count them (AccountConsumedBytes), because the
// report prints that figure.
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

#include "base/fixed_text.h"
#include "cgi/cgi.h"
#include "superlog/superlog_state.h"

namespace {

#if defined(__x86_64__) && defined(__GNUC__)
// FindLineEnd in one pass for both characters, 32 bytes at a time, for
// processors with AVX2: the two memchr calls below read each line twice.
__attribute__((target("avx2"))) char* FindLineEndWide(char* p, char* last) {
  const __m256i lf = _mm256_set1_epi8('\n');
  const __m256i cr = _mm256_set1_epi8('\r');
  for (; last - p >= 32; p += 32) {
    const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i ends = _mm256_or_si256(_mm256_cmpeq_epi8(w, lf), _mm256_cmpeq_epi8(w, cr));
    if (const unsigned m = static_cast<unsigned>(_mm256_movemask_epi8(ends))) return p + __builtin_ctz(m);
  }
  for (; p < last; ++p) {
    if (*p == '\n' || *p == '\r') return p;
  }
  return nullptr;
}
#endif

// First CR or LF in [p, last), or null.
inline char* FindLineEnd(char* p, char* last) {
#if defined(__x86_64__) && defined(__GNUC__)
  if (mState.mWideSearch) return FindLineEndWide(p, last);
#endif
  const size_t avail = static_cast<size_t>(last - p);
  char* lf = static_cast<char*>(memchr(p, '\n', avail));
  char* cr = static_cast<char*>(memchr(p, '\r', static_cast<size_t>((lf ? lf : last) - p)));
  return cr ? cr : lf;
}

// Adds to the run's total every 8192-byte block of the open file that a
// block reader would have fetched by now, that is every block up to the
// one that holds the last byte consumed.  Reads start on block boundaries,
// so all blocks are whole but the file's last.
void AccountConsumedBytes() {
  SuperLogState& s = mState;
  const uint64_t consumed = s.mBigBufFileOffset + static_cast<uint64_t>(s.mpBigBufCurPos - s.mpBigBuf);
  if (consumed <= s.mFileBytesCounted) return;
  const uint64_t readEnd = s.mBigBufFileOffset + static_cast<uint64_t>(s.mpBigBufLastPos - s.mpBigBuf);
  while (s.mFileBytesCounted < consumed) {
    const uint64_t left = readEnd - s.mFileBytesCounted;
    const uint32_t block = static_cast<uint32_t>(left < kBlockSize ? left : kBlockSize);
    if (block == 0) break;
    SuperLongAdd(&s.mTotalLogBytesRead, block);
    s.mFileBytesCounted += block;
  }
}

inline bool IsDashOrEmpty(const char* v) { return !v || !*v || (v[0] == '-' && v[1] == 0); }

inline char* NullIfDash(char* v) { return IsDashOrEmpty(v) ? nullptr : v; }

void ResetHit(LogHit* hit) {
  hit->host = nullptr;
  hit->tm = {};
  hit->tm.tm_isdst = -1;
  hit->time = 0;
  hit->url = nullptr;
  hit->status = 0;
  hit->bytes = 0;
  hit->referrer = nullptr;
  hit->agent = nullptr;
  hit->realm = nullptr;
  hit->user = nullptr;
}

// Per-line dispatch of header and comment lines.  Returns true when the
// current line is to be parsed as data with mKnownFormatBuf.
bool OfferLineToRecognition() {
  SuperLogState& s = mState;
  const char* line = s.mLineBuf;
  if (line[0] == 0 || line[0] == ';') return false;
  if (line[0] == '#') {
    GrokWebStarLine();
    GrokW3cLine();
    return false;
  }
  if (line[0] == '!' && line[1] == '!') {
    GrokWebStarLine();
    return false;
  }
  if (line[0] == 'f' && strncmp(line, "format=", 7) == 0) {
    GrokNetscapeLine();
    return false;
  }
  return s.mFormatKnown || GrokLineFormat();
}

// Writes stem "?" query into the full-URL buffer of the line buffer in use,
// cut at 243 characters.
char* JoinUrl(const char* stem, const char* query) {
  char* out = mState.mpFullUrlBuf + static_cast<size_t>(mState.mLineSide) * kFullUrlBufSize;
  size_t n = strnlen(stem, kFieldMax);
  memcpy(out, stem, n);
  if (n < static_cast<size_t>(kFieldMax)) out[n++] = '?';
  const size_t q = strnlen(query, kFieldMax - n);
  memcpy(out + n, query, q);
  out[n + q] = 0;
  return out;
}

// Old Macintosh paths ":Folder:page.html" become "/Folder/page.html"; the
// query part keeps its colons.
void FixMacPath(char* url) {
  if (!url || url[0] != ':') return;
  for (char* p = url; *p && *p != '?'; ++p) {
    if (*p == ':') *p = '/';
  }
}

constexpr char kCombinedTemplate[] = "Shmw1qrcfa";

// Fields of one data line collected before the post-processing.
struct LineFields {
  char* stem = nullptr;
  char* query = nullptr;
  char* dnsName = nullptr;
  char* ipAddr = nullptr;
  bool dated = false;
  bool haveUrl = false;
  bool haveStemOrQuery = false;
  bool haveHost = false;
};

// Acts on one field of code letter code (the field is at mpValidStart).
// Returns false when the field rejects the whole line.
bool ActOnField(char code, LogHit* hit, LineFields* lf) {
  SuperLogState& s = mState;
  char* f = s.mpValidStart;
  switch (code) {
    case '0': ParseEpoch(f, &hit->tm); lf->dated = true; break;
    case '1': ParseDateTime1(f, &hit->tm); lf->dated = true; break;
    case '2': ParseDate2(f, &hit->tm); lf->dated = true; break;
    case '3': ParseDate3(f, &hit->tm); lf->dated = true; break;
    case '4': ParseDateTime4(f, &hit->tm); lf->dated = true; break;
    case '5': ParseDate5(f, &hit->tm); lf->dated = true; break;
    case '9': ParseTime9(f, &hit->tm); break;
    case 'a': hit->agent = f; break;
    case 'c': hit->bytes = LeadingInteger(f); break;
    case 'e': lf->query = f; lf->haveStemOrQuery = true; break;
    case 'f': hit->referrer = f; break;
    case 'h': hit->host = f; lf->haveHost = true; break;
    case 'k': if (hit->status == 0) hit->status = TranslateWebStarResultCode(); break;
    case 'm': hit->realm = f; break;
    case 'n': if (f[0] != '-') lf->dnsName = f; break;
    case 'p': if (f[0] != '-') lf->ipAddr = f; break;
    case 'q': TrimFullRequest(); hit->url = s.mpValidStart; lf->haveUrl = true; break;
    case 'r': hit->status = LeadingInteger(f); break;
    case 'u': hit->url = f; lf->haveUrl = true; break;
    case 'v': return strncmp(f, "W3SVC", 5) == 0;
    case 'w': hit->user = f; break;
    case 'x': lf->stem = f; lf->haveStemOrQuery = true; break;
    default: break;
  }
  return true;
}

// Splits off the next field with the separator in force, cut at 243
// characters; false when the line has no more.
inline bool NextField() {
  SuperLogState& s = mState;
  if (!*s.mpFieldStart) return false;
  SplitField(s.mSepType);
  if (s.mValidLen > kFieldMax) {
    s.mpValidStart[kFieldMax] = 0;
    s.mValidLen = kFieldMax;
  }
  return true;
}

// The next field (as NextField cuts it) with the cursor moved past it, or
// null when the line has no more.
inline char* TakeField() {
  SuperLogState& s = mState;
  if (!NextField()) return nullptr;
  s.mpFieldStart = s.mpNextFieldStart;
  return s.mpValidStart;
}

// The fields of the combined and common formats' template ("Shmw1qrcfa"),
// the usual one, split without looking the template up field by field;
// the result is the template loop's.
void SplitCombinedFields(LogHit* hit, LineFields* lf) {
  SuperLogState& s = mState;
  s.mSepType = 'S';
  char* field;
  if (!(field = TakeField())) return;
  hit->host = field;
  lf->haveHost = true;
  for (char** plain : {&hit->realm, &hit->user}) {
    if (!(field = TakeField())) return;
    *plain = field;
  }
  if (!(field = TakeField())) return;
  ParseDateTime1(field, &hit->tm);
  lf->dated = true;
  if (!TakeField()) return;
  TrimFullRequest();  // the field just taken, still in mpValidStart
  hit->url = s.mpValidStart;
  lf->haveUrl = true;
  for (int32_t* number : {&hit->status, &hit->bytes}) {
    if (!(field = TakeField())) return;
    *number = LeadingInteger(field);
  }
  for (char** quoted : {&hit->referrer, &hit->agent}) {
    if (!(field = TakeField())) return;
    *quoted = field;
  }
}

// Splits the current line by the template in force and fills hit.  Returns
// false when the line is rejected.
bool ParseLineIntoHit(LogHit* hit) {
  SuperLogState& s = mState;
  LineFields lf;
  s.mpFieldStart = s.mLineBuf;
  if (memcmp(s.mKnownFormatBuf, kCombinedTemplate, sizeof kCombinedTemplate) == 0) {
    SplitCombinedFields(hit, &lf);
  } else {
    for (const char* t = s.mKnownFormatBuf; *t && *s.mpFieldStart; ++t) {
      const char code = *t;
      if (code == 'S' || code == 'T' || code == 'C') {
        s.mSepType = code;
        continue;
      }
      NextField();
      if (!ActOnField(code, hit, &lf)) return false;
      s.mpFieldStart = s.mpNextFieldStart;
    }
  }

  hit->referrer = NullIfDash(hit->referrer);
  hit->agent = NullIfDash(hit->agent);
  hit->realm = NullIfDash(hit->realm);
  hit->user = NullIfDash(hit->user);
  lf.query = NullIfDash(lf.query);
  if (!lf.haveUrl && lf.haveStemOrQuery) {
    // Without the URL buffer (its allocation failed) the stem stands alone.
    hit->url = (lf.stem && lf.query && s.mpFullUrlBuf) ? JoinUrl(lf.stem, lf.query) : lf.stem;
  }
  FixMacPath(hit->url);
  if (!lf.haveHost) hit->host = lf.dnsName ? lf.dnsName : lf.ipAddr;
  TrimPort(hit->host);
  TrimTrailingDot(hit->host);
  if (!lf.dated) return false;

  const ll::time32_t local = CachedMktime32(&hit->tm);
  hit->time = static_cast<ll::time32_t>(static_cast<uint32_t>(local) + static_cast<uint32_t>(s.mGmtOffset));
  struct tm corrected;
  if (CachedLocaltime32(hit->time, &corrected)) hit->tm = corrected;
  if (hit->time == 0 || hit->time == -1) return false;
  if (!hit->url || strcmp(hit->url, "-") == 0) return false;
  // IIS 4 writes the agent URL-encoded ('+' for blanks).
  if (s.mCurLogFormat == 4 && hit->agent) decode(hit->agent);
  return true;
}

}  // namespace

namespace {

// A window's bytes: a multiple of kBlockSize, so that windows, like reads,
// start on block boundaries while the file does not grow.
constexpr size_t kMapWindow = 2 * kReadChunk;

struct sigaction mEarlierBusAction;
bool mBusGuardSet = false;

// A file cut short under its mapping (a log truncated while it is read)
// makes reading past its new end raise SIGBUS.  Inside the window, zero
// pages take the window's place, so the access gives zeros, and the reader
// is told to stop; any other SIGBUS gets the earlier disposition back and
// happens again.
void OnBusError(int, siginfo_t* info, void*) {
  SuperLogState& s = mState;
  char* at = static_cast<char*>(info->si_addr);
  char* window = static_cast<char*>(s.mpMapped);
  if (window && at >= window && at < window + s.mMappedBytes &&
      mmap(window, s.mMappedBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
    s.mMapCutShort = 1;
    return;
  }
  sigaction(SIGBUS, &mEarlierBusAction, nullptr);
}

void SetBusGuard() {
  if (mBusGuardSet) return;
  struct sigaction action = {};
  action.sa_sigaction = OnBusError;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  mBusGuardSet = sigaction(SIGBUS, &action, &mEarlierBusAction) == 0;
}

void UnmapWindow() {
  SuperLogState& s = mState;
  if (s.mpMapped) munmap(s.mpMapped, s.mMappedBytes);
  s.mpMapped = nullptr;
  s.mMappedBytes = 0;
}

// Maps the stretch of the open file from offset on (at most kMapWindow
// bytes, up to its present end, as a read would get).  False when nothing
// is left or the file cannot be mapped.
bool MapWindow(int fd, uint64_t offset) {
  SuperLogState& s = mState;
  struct stat st;
  if (fstat(fd, &st) != 0 || st.st_size <= 0 || static_cast<uint64_t>(st.st_size) <= offset) return false;
  SetBusGuard();
  if (!mBusGuardSet) return false;
  static const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t start = offset & ~(page - 1);
  const uint64_t left = static_cast<uint64_t>(st.st_size) - offset;
  const size_t length = static_cast<size_t>(left < kMapWindow ? left : kMapWindow);
  const size_t mapped = length + static_cast<size_t>(offset - start);
  void* p = mmap(nullptr, mapped, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, static_cast<off_t>(start));
  if (p == MAP_FAILED) return false;
  s.mMappedBytes = mapped;
  s.mpMapped = p;
  s.mpBigBuf = static_cast<char*>(p) + (offset - start);
  s.mpBigBufCurPos = s.mpBigBuf;
  s.mpBigBufLastPos = s.mpBigBuf + length;
  return true;
}

}  // namespace

void ResetBigBuf() {
  SuperLogState& s = mState;
  UnmapWindow();
  s.mpBigBuf = mBigBuf;
  s.mpBigBufCurPos = s.mpBigBufLastPos = nullptr;
  s.mBigBufFileOffset = 0;
  s.mFileBytesCounted = 0;
  s.mMapCutShort = 0;
}

// Fetches the next stretch of the open file.  Returns 0 at its end (or on a
// read error, which is taken for the end).
int32_t RefreshBigBuf() {
  SuperLogState& s = mState;
  if (!s.mpBigBuf) s.mpBigBuf = mBigBuf;
  if (s.mpBigBufLastPos) s.mBigBufFileOffset += static_cast<uint64_t>(s.mpBigBufLastPos - s.mpBigBuf);
  UnmapWindow();
  s.mpBigBuf = s.mpBigBufCurPos = s.mpBigBufLastPos = mBigBuf;
  if (!s.mhFile || s.mMapCutShort) return 0;
  const int fd = fileno(s.mhFile);
  if (fd < 0) {  // a stream without a file (tests read texts in memory)
    const size_t n = fread(mBigBuf, 1, kReadChunk, s.mhFile);
    s.mpBigBufLastPos = mBigBuf + n;
    return n != 0;
  }
  if (MapWindow(fd, s.mBigBufFileOffset)) return 1;
  const ssize_t n = pread(fd, mBigBuf, kReadChunk, static_cast<off_t>(s.mBigBufFileOffset));
  s.mpBigBufLastPos = mBigBuf + (n > 0 ? n : 0);
  return n > 0;
}

void ReadRestOfLineFromBigBuf() {
  SuperLogState& s = mState;
  for (;;) {
    if (s.mpBigBufCurPos == s.mpBigBufLastPos && !RefreshBigBuf()) return;
    char* stop = FindLineEnd(s.mpBigBufCurPos, s.mpBigBufLastPos);
    if (stop) {
      s.mpBigBufCurPos = stop + 1;
      return;
    }
    s.mpBigBufCurPos = s.mpBigBufLastPos;
  }
}

// Reads the next non-blank line into mLineBuf (mLineLen 0 at the end of the
// file).  A line longer than 1535 bytes keeps its first 1535 and loses the
// rest; it is never split in two.
void ReadLineFromBigBuf() {
  SuperLogState& s = mState;
  s.mLineLen = 0;
  s.mLineBuf[0] = 0;
  for (;;) {
    if (s.mpBigBufCurPos == s.mpBigBufLastPos && !RefreshBigBuf()) {
      AccountConsumedBytes();
      return;
    }
    const char c = *s.mpBigBufCurPos;
    if (c != '\r' && c != '\n') break;
    ++s.mpBigBufCurPos;
  }
  constexpr size_t kMaxLine = kLineBufSize - 1;
  // A mapped window's pages come from memory, not from a cache-warm read
  // buffer: the lines a little ahead are requested now.
  for (int i = 0; i < 4; ++i) __builtin_prefetch(s.mpBigBufCurPos + 4096 + 64 * i);
  size_t len = 0;
  for (;;) {
    char* cur = s.mpBigBufCurPos;
    char* stop = FindLineEnd(cur, s.mpBigBufLastPos);
    const size_t seg = static_cast<size_t>((stop ? stop : s.mpBigBufLastPos) - cur);
    if (len + seg > kMaxLine) {
      memcpy(s.mLineBuf + len, cur, kMaxLine - len);
      len = kMaxLine;
      if (stop) {
        s.mpBigBufCurPos = stop + 1;
      } else {
        s.mpBigBufCurPos = s.mpBigBufLastPos;
        ReadRestOfLineFromBigBuf();
      }
      break;
    }
    memcpy(s.mLineBuf + len, cur, seg);
    len += seg;
    if (stop) {
      s.mpBigBufCurPos = stop + 1;
      break;
    }
    s.mpBigBufCurPos = s.mpBigBufLastPos;
    if (!RefreshBigBuf()) break;
  }
  if (s.mMapCutShort) {
    // The file shrank under the window: what was read of this line may be
    // zeros, so the file ends before it.
    len = 0;
    s.mpBigBufCurPos = s.mpBigBufLastPos;
  }
  s.mLineBuf[len] = 0;
  s.mLineLen = static_cast<int32_t>(len);
  AccountConsumedBytes();
}

void ReadRestOfLine() {
  FILE* f = mState.mhFile;
  if (!f) return;
  int c;
  do {
    c = getc_unlocked(f);
  } while (c != EOF && c != '\r' && c != '\n');
}

// The same line reader, one character at a time and without counting;
// used for the date-range scan and the summary file.
void ReadLine() {
  SuperLogState& s = mState;
  s.mLineLen = 0;
  s.mLineBuf[0] = 0;
  FILE* f = s.mhFile;
  if (!f) return;
  int c;
  do {
    c = getc_unlocked(f);
  } while (c == '\r' || c == '\n');
  int32_t len = 0;
  while (c != EOF && c != '\r' && c != '\n') {
    if (len == kLineBufSize - 1) {
      ReadRestOfLine();
      break;
    }
    s.mLineBuf[len++] = static_cast<char>(c);
    c = getc_unlocked(f);
  }
  s.mLineBuf[len] = 0;
  s.mLineLen = len;
}

int32_t SuperLog_ParseNextLine(LogHit* hit) {
  SuperLogState& s = mState;
  for (;;) {
    ResetHit(hit);
    ReadLineFromBigBuf();
    if (s.mLineLen == 0) return 0;
    if (OfferLineToRecognition() && ParseLineIntoHit(hit)) return 1;
  }
}

void SuperLog_KeepHit() {
  SuperLogState& s = mState;
  s.mLineSide ^= 1;
  s.mLineBuf = mLineBufs[s.mLineSide];
}

// "GET /a/b.html HTTP/1.0" becomes "/a/b.html"; a request without a blank
// (an old-style bare path) stays whole.
void TrimFullRequest() {
  SuperLogState& s = mState;
  char* field = s.mpValidStart;
  const size_t length = static_cast<size_t>(s.mValidLen);  // the splitter's strlen(field)
  char* blank = static_cast<char*>(memchr(field, ' ', length));
  if (!blank) return;
  char* url = blank + 1;
  size_t urlLength = length - static_cast<size_t>(url - field);
  if (char* end = static_cast<char*>(memchr(url, ' ', urlLength))) {
    *end = 0;
    urlLength = static_cast<size_t>(end - url);
  }
  s.mpValidStart = url;
  s.mValidLen = static_cast<int32_t>(urlLength);
}

int32_t TranslateWebStarResultCode() {
  const char* f = mState.mpValidStart;
  if (f[0] == 'O' && f[1] == 'K') return 200;
  if (f[0] == 'P' && f[1] == 'R') return 403;
  return 404;
}

// Cuts a ":port" off the client host.  A host with two or more ':' is an
// IPv6 address and stays whole, except that "[addr]" and "[addr]:port" give
// addr.
void TrimPort(char* host) {
  if (!host) return;
  char* colon = strchr(host, ':');
  if (!colon) return;
  if (!strchr(colon + 1, ':')) {
    *colon = 0;
    return;
  }
  char* close = host[0] == '[' ? strchr(host, ']') : nullptr;
  if (close && (close[1] == 0 || close[1] == ':')) {
    const size_t len = static_cast<size_t>(close - host - 1);
    memmove(host, host + 1, len);
    host[len] = 0;
  }
}

void TrimTrailingDot(char* host) {
  if (!host || !*host) return;
  const size_t len = strlen(host);
  if (host[len - 1] == '.') host[len - 1] = 0;
}

// strtol's reading (blanks, sign, digits; out-of-range values pinned to the
// 64-bit limits) cut to 32 bits, as atol and atoi give on this platform.
int32_t LeadingInteger(const char* text) {
  const char* p = text;
  while (*p == ' ' || (*p >= '\t' && *p <= '\r')) ++p;
  const bool negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  const uint64_t limit = negative ? (uint64_t{1} << 63) : (uint64_t{1} << 63) - 1;
  // v * 10 + d passes the limit exactly when v passes limit / 10, or meets
  // it with d above the limit's last digit: no division per digit.
  const uint64_t tenth = limit / 10;
  const uint64_t lastDigit = limit % 10;
  uint64_t v = 0;
  // Eighteen digits cannot pass the limit.
  for (int n = 0; n < 18 && *p >= '0' && *p <= '9'; ++n, ++p) v = v * 10 + static_cast<uint64_t>(*p - '0');
  for (; *p >= '0' && *p <= '9'; ++p) {
    const uint64_t d = static_cast<uint64_t>(*p - '0');
    v = (v > tenth || (v == tenth && d > lastDigit)) ? limit : v * 10 + d;
  }
  const uint64_t bits = negative ? (0 - v) : v;
  return static_cast<int32_t>(static_cast<uint32_t>(bits));
}

// Log format recognition: the three field splitters, the field templates,
// and the header lines that define templates ("#Fields:", "!!LOG_FORMAT",
// "format=") or name the writing server ("#Software:").
#include <bit>
#include <cstdio>
#include <cstring>
#include <strings.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

#include "base/fixed_text.h"
#include "base/pass_writer.h"
#include "superlog/superlog_state.h"

namespace {

// Built-in templates.  The CLF template is never chosen by recognition:
// CLF lines are read with the ELF template, and their missing referrer and
// agent simply stay empty.
constexpr const char* LOG_FORMAT_STR_ELF = "Shmw1qrcfa";
constexpr const char* LOG_FORMAT_STR_WLF = "T4h?mw?uf?arc?";
constexpr const char* LOG_FORMAT_STR_IIS = "Chw29v?m??cr??xefa";
constexpr const char* LOG_FORMAT_STR_MacHTTP = "T29khxc";
[[maybe_unused]] constexpr const char* LOG_FORMAT_STR_CLF = "Shmw1qrc";

// Format numbers kept in mCurLogFormat.
enum : int32_t {
  kFormatWebStarLogFormat = 1,
  kFormatWebStarFields = 2,
  kFormatIis = 3,
  kFormatW3cIis4 = 4,
  kFormatWebSite = 5,
  kFormatMacHttp = 6,
  kFormatNetscape = 7,
  kFormatSpecified = 8,
  kFormatW3cWebStar21 = 9,
  kFormatClfElf = 10,
};

struct FieldName {
  const char* name;
  char code;
};

// WebSTAR field names, compared with case.  DATE and RESULT are overridden
// by the kind of header line (see WebStarCode).
constexpr FieldName kWebStarNames[] = {
    {"DATE", '2'},           {"TIME", '9'},         {"RESULT", 'k'},
    {"HOSTNAME", 'h'},       {"URL", 'x'},          {"BYTES_SENT", 'c'},
    {"AGENT", 'a'},          {"BYTES", 'c'},        {"CS-HOST", 'n'},
    {"CS-IP", 'p'},          {"CS-STATUS", 'r'},    {"CS-URI", 'x'},
    {"REFERER", 'f'},        {"SEARCH_ARGS", 'e'},  {"USER", 'w'},
    {"C-DNS", 'n'},          {"C-IP", 'p'},         {"C-URI-QUERY", 'e'},
    {"CS-URI-STEM", 'x'},    {"SC-STATUS", 'r'},    {"CS(HOST)", 'm'},
    {"CS(REFERER)", 'f'},    {"CS(USER-AGENT)", 'a'}, {"CS-URI-QUERY", 'e'},
    {"RESULT_CODE", 'r'},    {"HOST", 'm'},         {"CONNECTION_NAME", 'm'},
};

// W3C names of WebSTAR 2.1 logs, compared ignoring case: the first twenty
// WebSTAR names with their own letters, then referrer and agent.
constexpr FieldName kW3cWebStarNames[] = {
    {"DATE", '2'},        {"TIME", '9'},        {"RESULT", 'k'},      {"HOSTNAME", 'h'},
    {"URL", 'x'},         {"BYTES_SENT", 'c'},  {"AGENT", 'a'},       {"BYTES", 'c'},
    {"CS-HOST", 'n'},     {"CS-IP", 'p'},       {"CS-STATUS", 'r'},   {"CS-URI", 'x'},
    {"REFERER", 'f'},     {"SEARCH_ARGS", 'e'}, {"USER", 'w'},        {"C-DNS", 'n'},
    {"C-IP", 'p'},        {"C-URI-QUERY", 'e'}, {"CS-URI-STEM", 'x'}, {"SC-STATUS", 'r'},
    {"CS(REFERER)", 'f'}, {"CS(USER-AGENT)", 'a'},
};

// W3C names of IIS 4 logs, compared ignoring case.
constexpr FieldName kW3cIisNames[] = {
    {"c-ip", 'h'},         {"c-username", 'w'},  {"cs-username", 'w'},
    {"cs-uri-query", 'e'}, {"cs-uri-stem", 'x'}, {"cs(Referer)", 'f'},
    {"cs(User-Agent)", 'a'}, {"date", '3'},      {"s-ip", 'm'},
    {"sc-bytes", 'c'},     {"sc-status", 'r'},   {"time", '9'},
};

// Netscape "format=" words, compared with case.
constexpr FieldName kNetscapeNames[] = {
    {"%Ses->client.ip%", 'h'},
    {"%SYSDATE%", '1'},
    {"%Req->reqpb.clf-request%", 'q'},
    {"%Req->srvhdrs.clf-status%", 'r'},
    {"%Req->srvhdrs.content-length%", 'c'},
    {"%Req->headers.referer%", 'f'},
    {"%Req->headers.user-agent%", 'a'},
    {"%Req->vars.auth-user%", 'w'},
};

template <size_t N>
char LookUp(const FieldName (&table)[N], const char* name, bool ignoreCase) {
  for (const FieldName& entry : table) {
    if ((ignoreCase ? strcasecmp(entry.name, name) : strcmp(entry.name, name)) == 0) return entry.code;
  }
  return '?';
}

// Copies a template into mKnownFormatBuf.
void UseTemplate(const char* logFormat) {
  ll::CopyText(mState.mKnownFormatBuf, sizeof mState.mKnownFormatBuf, logFormat, strlen(logFormat));
}

bool StartsWith(const char* text, const char* prefix) {
  return strncmp(text, prefix, strlen(prefix)) == 0;
}

void PrintLabel(const char* label) {
  if (mState.mDebugEnabled) PassOutput().DebugText("%s", label);
}

// Points at the names of a header line that start at index skip, or at the
// line's end when the line is shorter.
char* NamesAt(size_t skip) {
  size_t len = strlen(mState.mLineBuf);
  return mState.mLineBuf + (len < skip ? len : skip);
}

// Builds mKnownFormatBuf: the separator letter, then one code per name of
// the space-separated list at names; an empty name ends the list, and
// names beyond the template's 243 letters are ignored.  Sets mFormatKnown
// and trims the ignored fields off the end.
template <typename Lookup>
void BuildTemplate(char separator, char* names, Lookup codeOf) {
  SuperLogState& s = mState;
  char* out = s.mKnownFormatBuf;
  int32_t n = 0;
  out[n++] = separator;
  s.mpFieldStart = names;
  while (*s.mpFieldStart && n < kFieldMax) {
    ParseField();
    if (s.mValidLen == 0) break;
    out[n++] = codeOf(s.mpValidStart);
    s.mpFieldStart = s.mpNextFieldStart;
  }
  out[n] = 0;
  s.mFormatKnown = 1;
  TrimLogFormat(out);
}

// Sets the field cursor for a field from start to end (exclusive);
// next is where the following field begins.
inline void SetField(char* start, char* end, char* next) {
  SuperLogState& s = mState;
  s.mpValidStart = start;
  s.mValidLen = static_cast<int32_t>(end - start);
  s.mpNextFieldStart = next;
}

#if defined(__x86_64__) && defined(__GNUC__)
// FindFieldStop's search, 32 bytes at a time, for processors with AVX2
// (most fields of a combined line are quoted texts of 50 to 150 bytes).
__attribute__((target("avx2"))) char* FindFieldStopWide(char* p, char delim) {
  const __m256i delims = _mm256_set1_epi8(delim);
  const __m256i quotes = _mm256_set1_epi8('"');
  const __m256i zeros = _mm256_setzero_si256();
  const char* limit = mState.mLineBuf + kLineBufSize - 32;
  for (; p <= limit; p += 32) {
    const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i hits = _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(w, delims), _mm256_cmpeq_epi8(w, quotes)),
                                         _mm256_cmpeq_epi8(w, zeros));
    if (const unsigned m = static_cast<unsigned>(_mm256_movemask_epi8(hits))) return p + __builtin_ctz(m);
  }
  while (*p && *p != delim && *p != '"') ++p;
  return p;
}
#endif

// The first byte at or after p that is delim, a double quote or the line's
// terminator.  Sixteen (or eight, or with AVX2 32) bytes at a time while
// they lie inside the line buffer (bytes after the terminator are read but
// never matter: the first match ends the search).
char* FindFieldStop(char* p, char delim) {
#if defined(__x86_64__) && defined(__GNUC__)
  if (mState.mWideSearch && p >= mState.mLineBuf) return FindFieldStopWide(p, delim);
#endif
  if (p >= mState.mLineBuf) {
#if defined(__SSE2__)
    const __m128i delims = _mm_set1_epi8(delim);
    const __m128i quotes = _mm_set1_epi8('"');
    const __m128i zeros = _mm_setzero_si128();
    const char* limit = mState.mLineBuf + kLineBufSize - 16;
    for (; p <= limit; p += 16) {
      const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i hits = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(w, delims), _mm_cmpeq_epi8(w, quotes)),
                                        _mm_cmpeq_epi8(w, zeros));
      if (const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(hits))) return p + __builtin_ctz(m);
    }
#else
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    constexpr uint64_t kHigh = 0x8080808080808080ull;
    const uint64_t delims = kOnes * static_cast<unsigned char>(delim);
    const uint64_t quotes = kOnes * static_cast<unsigned char>('"');
    const char* limit = mState.mLineBuf + kLineBufSize - 8;
    for (; p <= limit; p += 8) {
      uint64_t w;
      memcpy(&w, p, 8);
      // A zero byte in w, w ^ delims or w ^ quotes; the lowest flag is exact.
      auto zero = [](uint64_t x) { return (x - kOnes) & ~x & kHigh; };
      if (uint64_t m = zero(w) | zero(w ^ delims) | zero(w ^ quotes)) {
        if constexpr (std::endian::native == std::endian::little) return p + __builtin_ctzll(m) / 8;
        break;  // a big-endian machine finishes byte by byte
      }
    }
#endif
  }
  while (*p && *p != delim && *p != '"') ++p;
  return p;
}

}  // namespace

// Space splitter.  A field opened by a double or single quote ends at the
// same quote, one opened by '[' at ']'; any other field ends at a space.
// A delimiter counts only while an even number of double quotes has been
// passed, so a quoted part inside a plain field keeps its spaces.
void ParseField() {
  char* p = mState.mpFieldStart;
  char delim = ' ';
  if (*p == '"' || *p == '\'') {
    delim = *p++;
  } else if (*p == '[') {
    delim = ']';
    ++p;
  }
  char* q = p;
  if (delim == '"') {
    // No double quote can be passed before the closing one.
    q = FindFieldStop(p, '"');
  } else {
    uint32_t quotes = 0;
    for (;; ++q) {
      q = FindFieldStop(q, delim);
      char c = *q;
      if (c == 0 || (c == delim && !(quotes & 1))) break;
      quotes += (c == '"');
    }
  }
  char* next = q;
  if (*q) {
    *q = 0;
    next = q + 1;
    if (delim != ' ' && *next == ' ') ++next;
  }
  SetField(p, q, next);
}

// Tab splitter: leading spaces are skipped; a field wrapped whole in double
// quotes loses them.
void ParseField_Tab() {
  char* p = mState.mpFieldStart;
  while (*p == ' ') ++p;
  char* q = p;
  uint32_t quotes = 0;
  for (;; ++q) {
    char c = *q;
    if (c == 0 || (c == '\t' && !(quotes & 1))) break;
    quotes += (c == '"');
  }
  char* next = q;
  if (*q) {
    *q = 0;
    next = q + 1;
  }
  if (q - p >= 2 && p[0] == '"' && q[-1] == '"') {
    q[-1] = 0;
    ++p;
    --q;
  }
  SetField(p, q, next);
}

// Comma splitter: a field ends at a comma followed by a space (IIS writes
// ", " between fields); a bare comma belongs to the field.
void ParseField_Comma() {
  char* p = mState.mpFieldStart;
  while (*p == ' ' || *p == '\t') ++p;
  char* q = p;
  uint32_t quotes = 0;
  for (;; ++q) {
    char c = *q;
    if (c == 0 || (c == ',' && q[1] == ' ' && !(quotes & 1))) break;
    quotes += (c == '"');
  }
  char* next = q;
  if (*q) {
    *q = 0;
    next = q + 1;
  }
  SetField(p, q, next);
}

void SplitField(int32_t sep) {
  if (sep == 'S') {
    ParseField();
  } else if (sep == 'T') {
    ParseField_Tab();
  } else {
    ParseField_Comma();
  }
}

void TrimLogFormat(char* logFormat) {
  if (!logFormat) return;
  for (size_t i = strlen(logFormat); i > 0 && (logFormat[i - 1] == ' ' || logFormat[i - 1] == '?'); --i) {
    logFormat[i - 1] = 0;
  }
}

void SuperLog_SetLogFormat(const char* logFormat, int32_t source) {
  SuperLogState& s = mState;
  if (s.mLogFormatSource > source || !logFormat) return;
  if (strlen(logFormat) > static_cast<size_t>(kFieldMax)) return;
  if (logFormat[0] != 'S' && logFormat[0] != 'T' && logFormat[0] != 'C') return;
  ll::CopyText(s.mSpecialLogFormatBuf, logFormat);
  s.mLogFormatSource = source;
  TrimLogFormat(s.mSpecialLogFormatBuf);
}

void ResetFormatRecognition() {
  mState.mFormatKnown = 0;
  mState.mCurLogFormat = 0;
  mState.mKnownFormatBuf[0] = 0;
}

// Chooses a built-in template from the current data line by counting its
// separators; a template from the logformat setting wins over every guess.
// Returns 1 when a template is in force, 0 when the line is not recognised.
int32_t GrokLineFormat() {
  SuperLogState& s = mState;
  if (s.mLogFormatSource != 0) {
    UseTemplate(s.mSpecialLogFormatBuf);
    s.mCurLogFormat = kFormatSpecified;
    s.mFormatKnown = 1;
    if (s.mDebugEnabled) PassOutput().DebugText("Specified: %s<br>", s.mKnownFormatBuf);
    return 1;
  }
  int32_t spaces = 0, tabs = 0, commas = 0;
  for (const char* p = s.mLineBuf; *p; ++p) {
    spaces += (*p == ' ');
    tabs += (*p == '\t');
    commas += (*p == ',');
  }
  const char* chosen;
  const char* label;
  if (commas > 14) {
    chosen = LOG_FORMAT_STR_IIS, label = "IIS/PWS<br>", s.mCurLogFormat = kFormatIis;
  } else if (tabs == 12) {
    chosen = LOG_FORMAT_STR_WLF, label = "WebSite Windows Log Format<br>", s.mCurLogFormat = kFormatWebSite;
  } else if (tabs == 5) {
    chosen = LOG_FORMAT_STR_MacHTTP, label = "WebSTAR/MacHTTP<br>", s.mCurLogFormat = kFormatMacHttp;
  } else if (spaces < 6) {
    return 0;
  } else {
    chosen = LOG_FORMAT_STR_ELF, label = "CLF/ELF<br>", s.mCurLogFormat = kFormatClfElf;
  }
  UseTemplate(chosen);
  s.mFormatKnown = 1;
  PrintLabel(label);
  return 1;
}

// "!!LOG_FORMAT" lines, and "#Fields:" lines of logs that did not name a
// W3C server first, read with the WebSTAR field names.
void GrokWebStarLine() {
  SuperLogState& s = mState;
  const char* line = s.mLineBuf;
  if (StartsWith(line, "!!LOG_FORMAT COMMON_LOG_FORMAT")) {
    UseTemplate(LOG_FORMAT_STR_ELF);
    s.mCurLogFormat = kFormatWebStarLogFormat;
    s.mFormatKnown = 1;
    PrintLabel("WebStar CLF/ELF<br>");
    return;
  }
  char dateCode, resultCode;
  char* names;
  if (StartsWith(line, "!!LOG_FORMAT ")) {
    names = NamesAt(13);
    dateCode = '5', resultCode = 'k';
    s.mCurLogFormat = kFormatWebStarLogFormat;
    PrintLabel("WebStar LogFormat<br>");
  } else if (StartsWith(line, "#Fields:") && s.mCurLogFormat != kFormatW3cIis4 &&
             s.mCurLogFormat != kFormatW3cWebStar21) {
    names = NamesAt(9);
    dateCode = '3', resultCode = 'r';
    s.mCurLogFormat = kFormatWebStarFields;
    PrintLabel("WebStar Fields<br>");
  } else {
    return;
  }
  BuildTemplate('T', names, [&](const char* name) {
    if (strcmp(name, "DATE") == 0) return dateCode;
    if (strcmp(name, "RESULT") == 0) return resultCode;
    return LookUp(kWebStarNames, name, false);
  });
}

// "#Software:" lines that name a W3C server, and the "#Fields:" line that
// follows them. IIS 5 and later call themselves "...Information Services"
// and write the same layout as IIS 4, so they share its field table.
void GrokW3cLine() {
  SuperLogState& s = mState;
  const char* line = s.mLineBuf;
  if (StartsWith(line, "#Software: Microsoft Internet Information Server") ||
      StartsWith(line, "#Software: Microsoft Internet Information Services") ||
      StartsWith(line, "#Software: Dolphin Speedstar")) {
    s.mCurLogFormat = kFormatW3cIis4;
    PrintLabel("W3C: IIS4<br>");
  } else if (strcmp(line, "#Software: WebSTAR/2.1") == 0) {
    s.mCurLogFormat = kFormatW3cWebStar21;
    PrintLabel("W3C: WebStar 2.1<br>");
  } else if (s.mCurLogFormat == kFormatW3cIis4 && StartsWith(line, "#Fields:")) {
    BuildTemplate('S', NamesAt(9), [](const char* name) { return LookUp(kW3cIisNames, name, true); });
  } else if (s.mCurLogFormat == kFormatW3cWebStar21 && StartsWith(line, "#Fields:")) {
    BuildTemplate('T', NamesAt(9), [](const char* name) { return LookUp(kW3cWebStarNames, name, true); });
  }
}

// Netscape "format=" lines; one holding a tab is not a format line.
void GrokNetscapeLine() {
  SuperLogState& s = mState;
  if (strchr(s.mLineBuf, '\t')) return;
  BuildTemplate('S', s.mLineBuf + 7, [](const char* name) { return LookUp(kNetscapeNames, name, false); });
  s.mCurLogFormat = kFormatNetscape;
  PrintLabel("Netscape<br>");
}

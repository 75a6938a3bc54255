// Request filters and item normalisation.
//
// The two exclusion filters are parsed from the settings on first use into
// arrays of fixed 244-byte entries, so that each hit costs one lower-cased
// copy and a few substring or equality tests.  Everything else here works in
// place on the caller's text and allocates nothing.
#include "analysis/filters.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "settings/stats_fields.h"

namespace {

constexpr size_t kEntrySize = 244;     // 243 characters and the terminator
constexpr size_t kHostCopySize = 252;  // hosts are compared up to 251 characters

using FilterEntry = char[kEntrySize];

// Module state: the parsed filters, process-wide until freed.
struct FilterState {
  int FilterStrAnalyzed = 0;
  int FilterStrLen = 0;
  int DomainCount = 0;
  FilterEntry* Domains = nullptr;
  int FileTypeStrAnalyzed = 0;
  int FileTypeStrLen = 0;
  int FileTypeCount = 0;
  FilterEntry* FileTypes = nullptr;
};
FilterState mFilters;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool HasLetter(const char* text) {
  for (; *text; ++text)
    if (IsLetter(*text)) return true;
  return false;
}

// One entry per comma-separated part of text, plus one: the count the
// filters are sized by.
int CountEntries(const char* text) {
  int count = 1;
  for (; *text; ++text)
    if (*text == ',') ++count;
  return count;
}

// Zeroed room for count entries; a refusal ends the process with status 1,
// as a failed list node does.
FilterEntry* AllocateEntries(int count) {
  void* room = calloc(static_cast<size_t>(count), sizeof(FilterEntry));
  if (!room) exit(1);
  return static_cast<FilterEntry*>(room);
}

// Appends c to entry (length *len), dropping what does not fit.
void Put(char* entry, size_t* len, char c) {
  if (*len < kEntrySize - 1) entry[(*len)++] = c;
}

// Splits filter_domains at every ",", dropping blanks and lower-casing.
void ParseDomains(const char* setting) {
  mFilters.FilterStrLen = static_cast<int>(strlen(setting));
  mFilters.DomainCount = CountEntries(setting);
  mFilters.Domains = AllocateEntries(mFilters.DomainCount);
  int index = 0;
  size_t len = 0;
  for (const char* s = setting; *s; ++s) {
    if (*s == ',') {
      ++index;
      len = 0;
    } else if (!IsBlank(*s)) {
      Put(mFilters.Domains[index], &len, Lower(*s));
    }
  }
  mFilters.FilterStrAnalyzed = 1;
}

// Splits filter_filetypes at every ",": each entry becomes "." and its text,
// without blanks and without a "." that starts the entry; case is kept.
void ParseFileTypes(const char* setting) {
  mFilters.FileTypeStrLen = static_cast<int>(strlen(setting));
  mFilters.FileTypeCount = CountEntries(setting);
  mFilters.FileTypes = AllocateEntries(mFilters.FileTypeCount);
  int index = 0;
  size_t len = 0;
  Put(mFilters.FileTypes[0], &len, '.');
  for (const char* s = setting; *s; ++s) {
    if (*s == ',') {
      len = 0;
      Put(mFilters.FileTypes[++index], &len, '.');
    } else if (IsBlank(*s)) {
      continue;
    } else if (*s == '.' && (s == setting || s[-1] == ',')) {
      continue;
    } else {
      Put(mFilters.FileTypes[index], &len, *s);
    }
  }
  mFilters.FileTypeStrAnalyzed = 1;
}

}  // namespace

int NotFilteredDomain(const StatsFields* settings, const char* text) {
  if (!text || !*text) return 1;
  if (!mFilters.FilterStrAnalyzed) ParseDomains(settings->filterDomains.c_str());
  if (mFilters.FilterStrLen == 0) return 1;
  char lowered[kHostCopySize];
  size_t n = 0;
  for (; text[n] && n < kHostCopySize - 1; ++n) lowered[n] = Lower(text[n]);
  lowered[n] = 0;
  for (int i = 0; i < mFilters.DomainCount; ++i)
    if (strstr(lowered, mFilters.Domains[i])) return 0;
  return 1;
}

int NotFilteredFileType(const StatsFields* settings, const char* fileType) {
  if (!mFilters.FileTypeStrAnalyzed) ParseFileTypes(settings->filterFileTypes.c_str());
  if (mFilters.FileTypeStrLen == 0 || !fileType || !*fileType || mFilters.FileTypeCount == 0) return 1;
  for (int i = 0; i < mFilters.FileTypeCount; ++i)
    if (strcasecmp(mFilters.FileTypes[i], fileType) == 0) return 0;
  return 1;
}

void FreeDomainsNow() {
  free(mFilters.Domains);
  mFilters.Domains = nullptr;
  mFilters.DomainCount = 0;
  mFilters.FilterStrLen = 0;
  mFilters.FilterStrAnalyzed = 0;
}

void FreeFileTypesNow() {
  free(mFilters.FileTypes);
  mFilters.FileTypes = nullptr;
  mFilters.FileTypeCount = 0;
  mFilters.FileTypeStrLen = 0;
  mFilters.FileTypeStrAnalyzed = 0;
}

int MSIE(const char* agent) { return agent && strstr(agent, "MSIE") ? 1 : 0; }

// Reads one decimal number of at most 255 at *pp and moves past it.
static bool ReadOctet(const char** pp) {
  const char* p = *pp;
  if (*p < '0' || *p > '9') return false;
  int value = 0;
  for (; *p >= '0' && *p <= '9'; ++p) {
    value = value * 10 + (*p - '0');
    if (value > 255) return false;
  }
  *pp = p;
  return true;
}

int IsIpAddr(const char* text) {
  if (!text) return 0;
  const char* p = text;
  while (*p == ' ') ++p;
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && *p++ != '.') return 0;
    if (!ReadOctet(&p)) return 0;
  }
  return *p == 0 || *p == ' ' ? 1 : 0;
}

// The last label of a host as TruncateDomain(host, 1) would leave it: the
// text after its last dot, the whole host without dots, empty for "(null)".
static const char* LastLabel(const char* host) {
  if (strcmp(host, "(null)") == 0) return "";
  const char* dot = strrchr(host, '.');
  return dot ? dot + 1 : host;
}

int IPaddress(const char* host) {
  if (!host || !*host) return 0;
  return HasLetter(LastLabel(host)) ? 0 : 1;
}

void checkIP(char* type) {
  if (type && *type && !HasLetter(type)) memcpy(type, "UNKNOWN", sizeof "UNKNOWN");
}

void TruncateDomain(char* host, int n) {
  if (!host || !*host) return;
  if (strcmp(host, "(null)") == 0) {
    host[0] = 0;
    return;
  }
  if (n < 1) return;
  size_t len = strlen(host);
  int dots = 0;
  for (size_t i = len; i-- > 0;) {
    if (host[i] == '.' && ++dots == n) {
      memmove(host, host + i + 1, len - i);  // with the terminator
      return;
    }
  }
}

char* TruncateLSD(char* host) {
  if (!host || !*host) return host;
  char* first = strchr(host, '.');
  if (!first || !strchr(first + 1, '.')) return host;
  return first + 1;
}

void TruncateIP(char* address) {
  if (!address) return;
  char* p = address;
  for (int dots = 0; (p = strchr(p, '.')) != nullptr; ++p) {
    if (++dots == 3) {
      *p = 0;
      return;
    }
  }
}

void TruncateCGI(char* url) {
  if (url) url[strcspn(url, "?\"")] = 0;
}

std::string_view FileTypeOf(const char* url, size_t length) {
  if (const void* query = memchr(url, '?', length))
    length = static_cast<size_t>(static_cast<const char*>(query) - url);
  for (size_t i = length; i-- > 0;) {
    if (url[i] == '/') break;
    if (url[i] == '.') return std::string_view(url + i, length - i);
  }
  return {};
}

void TruncateFileType(char* url) {
  if (!url) return;
  std::string_view type = FileTypeOf(url, strlen(url));
  memmove(url, type.data() ? type.data() : url, type.size());
  url[type.size()] = 0;
}

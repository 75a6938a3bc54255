// Reverse DNS cache, numeric-text test and domain-type names.
//
// Performance notes: a lookup costs one hash, a walk of one short slot
// chain and, only on a miss, one question to the name service.  Entries sit
// in two doubly linked chains, their hash slot's and the chain of addition,
// so the oldest entry is evicted in constant time.  Failed lookups are kept
// like answers, so an unresolvable address is asked about once.
#include "analysis/dns_cache.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "analysis/list.h"
#include "analysis/smart_memory.h"
#include "base/fixed_text.h"
#include "base/regular_file.h"

namespace {

constexpr uint32_t kSlotCount = 1024;  // a power of two: the slot is hash & (kSlotCount - 1)

struct DnsCacheEntry {
  char* address;         // the key, as it stands in the log (owned)
  char* host;            // the name found (owned), or null for a failed lookup
  DnsCacheEntry* next;   // next entry in the same slot
  DnsCacheEntry* prev;   // previous entry in the same slot
  DnsCacheEntry* newer;  // next entry in order of addition (the oldest goes first)
  DnsCacheEntry** slot;  // the slot whose chain holds the entry
};

char* SystemLookup(uint32_t addressNetworkOrder, void* context);

// Module state: one cache per process and the name service behind it.
struct DnsState {
  DnsCacheEntry* mHash_table[kSlotCount] = {};
  DnsCacheEntry* mOldest_entry = nullptr;
  DnsCacheEntry* mNewest_entry = nullptr;
  int mCacheCount = 0;
  int mCachelimit = 1024;
  ReverseResolver resolver = {SystemLookup, nullptr};
};
DnsState mDns;

// The system's reverse lookup for one IPv4 address: the official name,
// malloc'ed, or null.
char* SystemLookup(uint32_t addressNetworkOrder, void*) {
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = addressNetworkOrder;
  char name[NI_MAXHOST];
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&sa), sizeof sa, name, sizeof name, nullptr, 0,
                  NI_NAMEREQD) != 0)
    return nullptr;
  return strdup(name);
}

// Asks the name service about a numeric address text; the text goes through
// inet_addr, whose error value makes 255.255.255.255 unresolvable too.
char* Resolve(const char* address) {
  in_addr_t value = inet_addr(address);
  if (value == INADDR_NONE) return nullptr;
  return mDns.resolver.lookup(static_cast<uint32_t>(value), mDns.resolver.context);
}

// The caller's own copy of a cached name, or null.  The copy has room for
// at least 8 bytes, so a caller may cut it and write "UNKNOWN" over it.
char* CopyForCaller(const char* host) {
  if (!host) return nullptr;
  size_t size = strlen(host) + 1;
  char* copy = static_cast<char*>(malloc(size < 8 ? 8 : size));
  if (copy) memcpy(copy, host, size);
  return copy;
}

void FreeEntry(DnsCacheEntry* entry) {
  free(entry->address);
  free(entry->host);
  free(entry);
}

// Links a new entry behind `last` in its slot (first when last is null) and
// at the newer end of the chain of addition.  False when a copy could not be
// made; then nothing is cached.
bool AddEntry(const char* address, const char* host, DnsCacheEntry** slot, DnsCacheEntry* last) {
  auto* entry = static_cast<DnsCacheEntry*>(malloc(sizeof(DnsCacheEntry)));
  if (!entry) return false;
  entry->address = smart_strdup(address);
  entry->host = host ? smart_strdup(host) : nullptr;
  if (!entry->address || (host && !entry->host)) {
    FreeEntry(entry);
    return false;
  }
  entry->next = nullptr;
  entry->prev = last;
  entry->slot = slot;
  if (last) last->next = entry;
  else *slot = entry;
  entry->newer = nullptr;
  if (mDns.mNewest_entry) mDns.mNewest_entry->newer = entry;
  else mDns.mOldest_entry = entry;
  mDns.mNewest_entry = entry;
  ++mDns.mCacheCount;
  return true;
}

void EvictOldest() {
  DnsCacheEntry* old = mDns.mOldest_entry;
  if (old->prev) old->prev->next = old->next;
  else *old->slot = old->next;
  if (old->next) old->next->prev = old->prev;
  mDns.mOldest_entry = old->newer;  // old was not the newest, so a newer one exists
  FreeEntry(old);
  --mDns.mCacheCount;
}

}  // namespace

void SetReverseResolver(const ReverseResolver* resolver) {
  mDns.resolver = resolver ? *resolver : ReverseResolver{SystemLookup, nullptr};
}

void DNSLookup_Init() {}

char* GetHostFromIP(const char* address) { return FindDNSInCache(address); }

char* FindDNSInCache(const char* address) {
  if (!address) return nullptr;
  uint32_t length = static_cast<uint32_t>(strlen(address));
  DnsCacheEntry** slot = &mDns.mHash_table[hash(address, length, 0) & (kSlotCount - 1)];
  DnsCacheEntry* last = nullptr;
  for (DnsCacheEntry* entry = *slot; entry; entry = entry->next) {
    if (strcmp(entry->address, address) == 0) return CopyForCaller(entry->host);
    last = entry;
  }
  char* name = Resolve(address);
  if (AddEntry(address, name, slot, last) && mDns.mCacheCount > mDns.mCachelimit &&
      mDns.mOldest_entry != mDns.mNewest_entry)
    EvictOldest();
  char* result = CopyForCaller(name);
  free(name);
  return result;
}

void DestroyDNSCache() {
  for (DnsCacheEntry* entry = mDns.mOldest_entry; entry;) {
    DnsCacheEntry* newer = entry->newer;
    FreeEntry(entry);
    entry = newer;
  }
  memset(mDns.mHash_table, 0, sizeof mDns.mHash_table);
  mDns.mOldest_entry = nullptr;
  mDns.mNewest_entry = nullptr;
  mDns.mCacheCount = 0;
}

int DnsCacheCountForTesting() { return mDns.mCacheCount; }

int IpAddrsOnly(const char* text) {
  if (!text) return 1;
  for (; *text; ++text) {
    char c = *text;
    if (!((c >= '0' && c <= '9') || c == '.' || c == ',' || c == ';')) return 0;
  }
  return 1;
}

namespace {

constexpr size_t kCodeMax = 19;  // characters of a domain-type code
constexpr size_t kNameMax = 99;  // characters of its name, line end included

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Splits one line of the domain-names file (with its line end) into the
// code, its first word cut at 19 characters, and the name, the rest of the
// line after the blanks, cut at 99 characters and stripped of one line feed
// and then one carriage return.
void SplitNamesLine(const char* line, char* code, char* name) {
  const char* p = line;
  while (IsBlank(*p)) ++p;
  size_t wordLen = strcspn(p, " \t\r\n");
  ll::CopyText(code, kCodeMax + 1, p, wordLen);
  p += wordLen;
  while (IsBlank(*p)) ++p;
  size_t n = ll::CopyText(name, kNameMax + 1, p);
  if (n > 0 && name[n - 1] == '\n') name[--n] = 0;
  if (n > 0 && name[n - 1] == '\r') name[--n] = 0;
}

}  // namespace

void ResolveItem(char* item, const char* networksFile) {
  if (!item) return;
  for (char* p = item; *p; ++p)
    if (*p >= 'a' && *p <= 'z') *p = static_cast<char>(*p - 'a' + 'A');
  if (!networksFile || !*networksFile) return;
  FILE* file = ll::OpenRegularFile(networksFile, "r");
  if (!file) return;
  char* line = nullptr;
  size_t capacity = 0;
  char code[kCodeMax + 1];
  char name[kNameMax + 1];
  ssize_t length;
  while ((length = getline(&line, &capacity, file)) > 0) {
    if (line[length - 1] != '\n') break;  // a last line without its line end is not read
    SplitNamesLine(line, code, name);
    if (strcmp(code, item) == 0) {
      strcpy(item, name);  // item holds 244 bytes; name at most 99 characters
      break;
    }
  }
  free(line);
  fclose(file);
}

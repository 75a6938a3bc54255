// Reverse DNS cache: at most 1024 answers (failures included), evicted
// first in, first out; the numeric-text test; domain-type names.
#pragma once

#include <cstdint>

// The name service behind the cache.  The program uses the system's reverse
// lookup; tests install a scripted one.
struct ReverseResolver {
  // Returns a malloc'ed host name for the IPv4 address (network byte order),
  // or null when it has none.
  char* (*lookup)(uint32_t addressNetworkOrder, void* context);
  void* context;
};
// Copies *resolver; null restores the system's.
void SetReverseResolver(const ReverseResolver* resolver);

// Nothing to do: the cache starts empty with the process.
void DNSLookup_Init();
// A malloc'ed copy of the host name for the address text (the caller frees
// it; it has room for at least 8 bytes), or null when the text is not a
// numeric address (inet_addr rules; 255.255.255.255 fails too) or the name
// service has no name.  Answers and failures are cached; a hit asks nothing.
// Never ends the run.
char* GetHostFromIP(const char* address);
char* FindDNSInCache(const char* address);  // the same lookup
// Frees every entry; the cache is empty afterwards.
void DestroyDNSCache();
int DnsCacheCountForTesting();

// 1 for null/empty text or text made only of digits, '.', ',' and ';'.
int IpAddrsOnly(const char* text);

// Upper-cases item in place and replaces it by its name from the
// domain-names file, when a line of that file names it ("CODE  name").
// item must lie in a buffer of 244 bytes (names hold up to 99 characters).
// The file is read anew on every call; one that cannot be opened leaves the
// item upper-cased.
void ResolveItem(char* item, const char* networksFile);

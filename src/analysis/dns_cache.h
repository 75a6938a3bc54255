// Reverse DNS cache: at most 1024 answers (failures included), evicted
// first in, first out.
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
void SetReverseResolver(const ReverseResolver* resolver);  // null restores the system's

void DNSLookup_Init();
// A malloc'ed copy of the host name for the address text (caller frees), or null.
char* GetHostFromIP(const char* address);
char* FindDNSInCache(const char* address);
void DestroyDNSCache();
int DnsCacheCountForTesting();

// 1 for null/empty text or text made only of digits, '.', ',' and ';'.
int IpAddrsOnly(const char* text);

// Upper-cases item in place and replaces it by its name from the
// domain-names file, when a line of that file names it.
void ResolveItem(char* item, const char* networksFile);

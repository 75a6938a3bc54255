#include "analysis/dns_cache.h"

#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "analysis/smart_memory.h"
#include "support/test_support.h"

namespace {

int gQuestions = 0;

// Names every address "h<address>" but two, and counts the questions.
char* NameEveryAddress(uint32_t addressNetworkOrder, void*) {
  ++gQuestions;
  const std::string dotted = inet_ntoa(in_addr{addressNetworkOrder});
  if (dotted == "10.9.9.8") return strdup("a.b");
  return dotted == "10.9.9.9" ? nullptr : strdup(("h" + dotted).c_str());
}

std::string Lookup(const std::string& address) {
  char* name = GetHostFromIP(address.c_str());
  const std::string result = name ? name : "(none)";
  free(name);
  return result;
}

// Rows run in order on one cache of 1024 entries: the oldest entry goes
// first, a hit does not refresh it, and failures and non-addresses are
// cached without asking again.
TEST(DnsCache, AsksOnceAndEvictsTheOldestEntryFirst) {
  smart_memory_reset_for_testing();
  DestroyDNSCache();
  ReverseResolver resolver{NameEveryAddress, nullptr};
  SetReverseResolver(&resolver);
  DNSLookup_Init();
  auto address = [](int i) { return "10.0." + std::to_string(i / 256) + "." + std::to_string(i % 256); };
  for (int i = 0; i < 1024; ++i) Lookup(address(i));
  const struct {
    std::string address, name;
    int questions;  // in all, after the lookup
  } rows[] = {
      {address(0), "h10.0.0.0", 1024}, {address(1024), "h10.0.4.0", 1025},  // evicts address(0)
      {address(1), "h10.0.0.1", 1025}, {address(0), "h10.0.0.0", 1026},     // evicts address(1)
      {address(1), "h10.0.0.1", 1027}, {"10.9.9.9", "(none)", 1028}, {"10.9.9.9", "(none)", 1028},
      {"www.example.org", "(none)", 1028}, {"255.255.255.255", "(none)", 1028}, {"", "(none)", 1028},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(Lookup(r.address), r.name) << r.address;
    EXPECT_EQ(gQuestions, r.questions) << r.address;
  }
  EXPECT_EQ(DnsCacheCountForTesting(), 1024);
  char* shortName = GetHostFromIP("10.9.9.8");
  EXPECT_GE(malloc_usable_size(shortName), 8u);  // room for "UNKNOWN" written over it
  free(shortName);
  DestroyDNSCache();
  SetReverseResolver(nullptr);
}

// A matching upper-case code gives its name; otherwise the item is upper-cased.
TEST(DomainNames, CodesFromTheFileOrTheItemUpperCased) {
  testing_support::TempDir dir;
  const struct {
    const char* item;
    std::string file, name;
  } cases[] = {
      {"com", "EDU Education\nCOM Commercial organisations\n", "Commercial organisations"},
      {"uk", "UK \t United Kingdom\r\n", "United Kingdom"},
      {"de", "DE Germany\nDE Second line\n", "Germany"},
      {"com", "com lower-case codes never match\n", "COM"},
      {"com", "EDU Education\nCOM Commercial", "COM"},  // a last line without line end is not read
      {"fr", "FR " + std::string(150, 'n') + "\n", std::string(99, 'n')},
      {"fr", "FR " + std::string(98, 'm') + "\n", std::string(98, 'm')},  // its line end took the 99th place
      {"abcdefghijklmnopqrs", "ABCDEFGHIJKLMNOPQRSTUVWXYZ Long code\n", "Long code"},
  };
  for (const auto& c : cases) {
    testing_support::WriteFile(dir.file("networks"), c.file);
    char buffer[244];
    strcpy(buffer, c.item);
    ResolveItem(buffer, dir.file("networks").c_str());
    EXPECT_EQ(buffer, c.name) << c.file;
  }
}

}  // namespace

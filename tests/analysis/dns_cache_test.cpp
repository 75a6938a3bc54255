#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "analysis/dns_cache.h"
#include "analysis/smart_memory.h"
#include "support/test_support.h"

namespace {

// A name service that answers from a table and counts the questions.
struct ScriptedService {
  std::map<std::string, std::string> names;  // dotted address -> name
  bool answerAll = false;                    // name every address "h<address>"
  int queries = 0;
};

char* ScriptedLookup(uint32_t addressNetworkOrder, void* context) {
  auto* service = static_cast<ScriptedService*>(context);
  ++service->queries;
  in_addr in{};
  in.s_addr = addressNetworkOrder;
  std::string dotted = inet_ntoa(in);
  if (service->answerAll) return strdup(("h" + dotted).c_str());
  auto it = service->names.find(dotted);
  return it == service->names.end() ? nullptr : strdup(it->second.c_str());
}

class DnsCache : public ::testing::Test {
 protected:
  void SetUp() override {
    smart_memory_reset_for_testing();
    DestroyDNSCache();
    ReverseResolver resolver{ScriptedLookup, &service_};
    SetReverseResolver(&resolver);
    DNSLookup_Init();
  }
  void TearDown() override {
    DestroyDNSCache();
    SetReverseResolver(nullptr);
  }
  // The name for address, or "(none)"; frees the caller's copy.
  std::string Lookup(const std::string& address) {
    char* name = GetHostFromIP(address.c_str());
    std::string result = name ? name : "(none)";
    free(name);
    return result;
  }
  static std::string Address(int i) {
    return "10." + std::to_string(i / 65536) + "." + std::to_string(i / 256 % 256) + "." +
           std::to_string(i % 256);
  }
  ScriptedService service_;
};

TEST_F(DnsCache, AnswersAreAskedOnceAndCopiedForEachCaller) {
  service_.names["192.168.1.1"] = "a.b";
  char* first = GetHostFromIP("192.168.1.1");
  char* second = FindDNSInCache("192.168.1.1");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  EXPECT_STREQ(first, "a.b");
  EXPECT_STREQ(second, "a.b");
  EXPECT_EQ(service_.queries, 1);
  // Room for "UNKNOWN" even behind a short name.
  EXPECT_GE(malloc_usable_size(first), 8u);
  free(first);
  free(second);
}

TEST_F(DnsCache, FailuresAndNonAddressesAreCachedWithoutAskingAgain) {
  EXPECT_EQ(Lookup("10.9.9.9"), "(none)");
  EXPECT_EQ(Lookup("10.9.9.9"), "(none)");
  EXPECT_EQ(service_.queries, 1);
  service_.answerAll = true;
  for (const char* text : {"www.example.org", "255.255.255.255", ""}) EXPECT_EQ(Lookup(text), "(none)") << text;
  EXPECT_EQ(service_.queries, 1);  // 255.255.255.255 equals inet_addr's error value
  EXPECT_EQ(DnsCacheCountForTesting(), 4);
  EXPECT_EQ(GetHostFromIP(nullptr), nullptr);
  DestroyDNSCache();
  DestroyDNSCache();  // twice is harmless
  EXPECT_EQ(DnsCacheCountForTesting(), 0);
  EXPECT_EQ(Lookup("10.9.9.9"), "h10.9.9.9");
}

TEST_F(DnsCache, TheOldestEntryGoesFirstAndHitsDoNotRefreshIt) {
  service_.answerAll = true;
  for (int i = 0; i < 1024; ++i) Lookup(Address(i));
  EXPECT_EQ(DnsCacheCountForTesting(), 1024);
  EXPECT_EQ(Lookup(Address(0)), "h" + Address(0));  // a hit: order unchanged
  EXPECT_EQ(service_.queries, 1024);
  Lookup(Address(1024));  // the 1025th address evicts the first
  EXPECT_EQ(DnsCacheCountForTesting(), 1024);
  EXPECT_EQ(service_.queries, 1025);
  Lookup(Address(1));
  EXPECT_EQ(service_.queries, 1025);  // still cached
  Lookup(Address(0));
  EXPECT_EQ(service_.queries, 1026);  // asked again, and now evicts Address(1)
  Lookup(Address(1));
  EXPECT_EQ(service_.queries, 1027);
}

TEST_F(DnsCache, SlotChainsStayIntactThroughManyEvictions) {
  service_.answerAll = true;
  for (int i = 0; i < 5000; ++i) Lookup(Address(i));
  EXPECT_EQ(DnsCacheCountForTesting(), 1024);
  int asked = service_.queries;
  for (int i = 5000 - 1024; i < 5000; ++i) ASSERT_EQ(Lookup(Address(i)), "h" + Address(i));
  EXPECT_EQ(service_.queries, asked);
}

TEST(NumericText, IpAddrsOnly) {
  const std::pair<const char*, int> cases[] = {{"10.0.0.1,192.168.1.1", 1}, {"10.;10.1", 1}, {"", 1}, {nullptr, 1},
                                               {"10.0.0.1,host", 0}, {"10.0.0.1, 10.0.0.2", 0}};
  for (const auto& [text, numeric] : cases) EXPECT_EQ(IpAddrsOnly(text), numeric) << (text ? text : "null");
}

class DomainNames : public ::testing::Test {
 protected:
  std::string Resolve(const char* item, const std::string& fileContent) {
    testing_support::WriteFile(dir_.file("networks"), fileContent);
    return ResolveWith(item, dir_.file("networks"));
  }
  static std::string ResolveWith(const char* item, const std::string& path) {
    char buffer[244];
    strcpy(buffer, item);
    ResolveItem(buffer, path.c_str());
    return buffer;
  }
  testing_support::TempDir dir_;
};

// A matching upper-case code gives its name; otherwise the item is upper-cased.
TEST_F(DomainNames, CodesFromTheFileOrTheItemUpperCased) {
  const struct {
    const char* item;
    std::string file, name;
  } cases[] = {
      {"com", "EDU Education\nCOM Commercial organisations\n", "Commercial organisations"},
      {"uk", "UK \t United Kingdom\r\n", "United Kingdom"},
      {"de", "DE Germany\nDE Second line\n", "Germany"},
      {"net", "COM Commercial\n", "NET"},
      {"com", "com lower-case codes never match\n", "COM"},
      {"com", "EDU Education\nCOM Commercial", "COM"},  // a last line without line end is not read
      {"fr", "FR " + std::string(150, 'n') + "\n", std::string(99, 'n')},
      {"fr", "FR " + std::string(98, 'm') + "\n", std::string(98, 'm')},  // its line end took the 99th place
      {"abcdefghijklmnopqrs", "ABCDEFGHIJKLMNOPQRSTUVWXYZ Long code\n", "Long code"},
  };
  for (const auto& c : cases) EXPECT_EQ(Resolve(c.item, c.file), c.name) << c.file;
  EXPECT_EQ(ResolveWith("org", dir_.file("missing")), "ORG");
  EXPECT_EQ(ResolveWith("org", ""), "ORG");
}

}  // namespace

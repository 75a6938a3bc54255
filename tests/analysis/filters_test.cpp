#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "analysis/filters.h"
#include "settings/stats_fields.h"

namespace {

// Each test starts and ends with unparsed filters.
class RequestFilters : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    FreeDomainsNow();
    FreeFileTypesNow();
  }
  bool KeepsHost(const char* host) { return NotFilteredDomain(&settings_, host) == 1; }
  bool KeepsUrl(const char* url) {
    char type[244];
    strcpy(type, url);
    TruncateFileType(type);
    return NotFilteredFileType(&settings_, type) == 1;
  }
  StatsFields settings_;
};

// Rows run in order; a setting of null keeps the parsed list of the row
// before (lists are parsed once, on first real use, and again after a free).
TEST_F(RequestFilters, DomainEntriesAreFragmentsComparedIgnoringCaseWithoutBlanks) {
  const std::string x251(251, 'x');
  const struct {
    const char* setting;
    std::string host;
    bool keeps;
  } cases[] = {
      {"Sub.TLD,10.1.", "a.sub.tld", false}, {nullptr, "WWW.SUB.TLD", false}, {nullptr, "10.1.2.3", false},
      {nullptr, "http://x.sub.tld/page?q=1", false},  // referrers are searched whole
      {nullptr, "sub.tl", true}, {nullptr, "110.1.2.3", false}, {nullptr, "example.com", true},
      {" sub. tld ,\t10.1.\t", "a.sub.tld", false}, {nullptr, "sub. tld", true},  // hosts keep their blanks
      {"", "anything", true}, {"x", "", true}, {"a.com,", "example.org", false},  // an empty entry is in every host
      {"first", "", true}, {"second", "second.com", false},  // an empty host returns before parsing
      {"third", "second.com", false}, {"third", "third.com", true},
      {"needle", x251 + "needle", true}, {nullptr, x251.substr(0, 245) + "needle", false},  // 251 characters are read
  };
  for (const auto& c : cases) {
    if (c.setting && std::string(c.setting) != "third") FreeDomainsNow();
    if (c.setting) settings_.filterDomains.set(c.setting);
    EXPECT_EQ(KeepsHost(c.host.c_str()), c.keeps) << (c.setting ? c.setting : "-") << " " << c.host;
  }
  EXPECT_TRUE(KeepsHost(nullptr));
}

TEST_F(RequestFilters, FileTypesMatchWholeExtensionsIgnoringCase) {
  const struct {
    const char* setting;
    const char* url;
    bool keeps;
  } cases[] = {
      {"gif,jpg", "/x.gif", false}, {nullptr, "/y.JPG", false}, {nullptr, "/z.gif?size=2", false},
      {nullptr, "/z.gifs", true}, {nullptr, "/dir.gif/index", true}, {nullptr, "/", true},
      {".GIF, jp g\t,.png", "/a.gif", false}, {nullptr, "/a.jpg", false}, {nullptr, "/a.png", false},
      {"gif, .jpg", "/a.jpg", true},  // a dot behind a blank stays: "..jpg"
      {"c", "/a.c", false}, {nullptr, "/a.cc", true}, {"", "/a.gif", true},
  };
  for (const auto& c : cases) {
    if (c.setting) {
      FreeFileTypesNow();
      settings_.filterFileTypes.set(c.setting);
    }
    EXPECT_EQ(KeepsUrl(c.url), c.keeps) << (c.setting ? c.setting : "-") << " " << c.url;
  }
  FreeFileTypesNow();
  settings_.filterFileTypes.set("gif, .jpg");
  EXPECT_EQ(NotFilteredFileType(&settings_, "..jpg"), 0);
  settings_.filterFileTypes.set("html");  // parsed once: a later setting is not read
  EXPECT_EQ(NotFilteredFileType(&settings_, "..jpg"), 0);
  EXPECT_EQ(NotFilteredFileType(&settings_, ""), 1);
  EXPECT_EQ(NotFilteredFileType(&settings_, nullptr), 1);
}

TEST(AddressTests, IsIpAddrWantsFourNumbersUpTo255) {
  for (const char* yes : {"1.2.3.4", "  1.2.3.4", "1.2.3.4 ", "1.2.3.4 rest", "255.255.255.255",
                          "001.2.3.4"})
    EXPECT_EQ(IsIpAddr(yes), 1) << yes;
  for (const char* no : {"", "   ", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.4x", "1..2.3",
                         "1.2.3.", " 1.2.3.4\t", "a.b.c.d", "99999999999999999999.1.1.1"})
    EXPECT_EQ(IsIpAddr(no), 0) << no;
  EXPECT_EQ(IsIpAddr(nullptr), 0);
}

TEST(AddressTests, IPaddressLooksAtTheLastLabelOnly) {
  EXPECT_EQ(IPaddress("10.1.2.3"), 1);
  EXPECT_EQ(IPaddress("host.example."), 1);  // empty last label
  EXPECT_EQ(IPaddress("a.b.c"), 0);
  EXPECT_EQ(IPaddress("a1.b.42"), 1);
  EXPECT_EQ(IPaddress("localhost"), 0);
  EXPECT_EQ(IPaddress("(null)"), 1);
  EXPECT_EQ(IPaddress(""), 0);
  EXPECT_EQ(IPaddress(nullptr), 0);
}

TEST(ItemNormalise, TruncateDomainKeepsTheLastNLabels) {
  char h[32];
  struct Case {
    const char* in;
    int n;
    const char* out;
  };
  for (const Case& c : {Case{"a.b.c", 1, "c"}, Case{"b.c", 1, "c"}, Case{"abc", 1, "abc"},
                        Case{"a.b.c", 2, "b.c"}, Case{"b.c", 2, "b.c"}, Case{"abc.", 1, ""},
                        Case{"a.b.c", 0, "a.b.c"}, Case{"(null)", 0, ""}, Case{"", 1, ""}, Case{".c", 1, "c"}}) {
    strcpy(h, c.in);
    TruncateDomain(h, c.n);
    EXPECT_STREQ(h, c.out) << c.in << " n=" << c.n;
  }
  TruncateDomain(nullptr, 1);
}

TEST(ItemNormalise, DomainListItemsFromHosts) {
  // What the pass counts in "Domains" and "Domain Types" for a host.
  auto domain = [](const char* host) {
    static char h[64];
    strcpy(h, host);
    if (IPaddress(h)) {
      TruncateIP(h);
      return std::string(h);
    }
    return std::string(TruncateLSD(h));
  };
  auto type = [](const char* host) {
    char h[64];
    strcpy(h, host);
    TruncateDomain(h, 1);
    checkIP(h);
    return std::string(h);
  };
  EXPECT_EQ(domain("a.b.c.d"), "b.c.d");
  EXPECT_EQ(domain("b.c"), "b.c");
  EXPECT_EQ(domain("10.1.2.3"), "10.1.2");
  EXPECT_EQ(domain("10.1"), "10.1");
  EXPECT_EQ(type("b.c.d"), "d");
  EXPECT_EQ(type("10.1.2"), "UNKNOWN");
  EXPECT_EQ(type("localhost"), "localhost");
  EXPECT_EQ(type("abc."), "");  // empty stays empty, not UNKNOWN
}

TEST(ItemNormalise, TruncateFileTypeKeepsTheLastSegmentsExtensionAndCgiCutsAtQuery) {
  char u[64];
  struct Case {
    const char* in;
    const char* out;
  };
  for (const Case& c : {Case{"/img/logo.GIF?x=1", ".GIF"}, Case{"/docs/", ""}, Case{"/readme", ""},
                        Case{"/a.b/c", ""}, Case{"/a.tar.gz", ".gz"}, Case{"x.", "."},
                        Case{"/p?x=a.b", ""}, Case{"", ""}}) {
    strcpy(u, c.in);
    TruncateFileType(u);
    EXPECT_STREQ(u, c.out) << c.in;
  }
  for (const Case& c : {Case{"/cgi/x.pl?q=1", "/cgi/x.pl"}, Case{"/a\"b?c", "/a"}, Case{"/plain", "/plain"}}) {
    strcpy(u, c.in);
    TruncateCGI(u);
    EXPECT_STREQ(u, c.out) << c.in;
  }
}

}  // namespace

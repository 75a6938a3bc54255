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

TEST_F(RequestFilters, DomainEntriesAreFragmentsComparedIgnoringCase) {
  settings_.filterDomains.set("Sub.TLD,10.1.");
  EXPECT_FALSE(KeepsHost("a.sub.tld"));
  EXPECT_FALSE(KeepsHost("WWW.SUB.TLD"));
  EXPECT_FALSE(KeepsHost("10.1.2.3"));
  EXPECT_FALSE(KeepsHost("http://x.sub.tld/page?q=1"));  // referrers are searched whole
  EXPECT_TRUE(KeepsHost("sub.tl"));
  EXPECT_FALSE(KeepsHost("110.1.2.3"));  // a fragment, not a prefix
  EXPECT_TRUE(KeepsHost("example.com"));
}

TEST_F(RequestFilters, DomainParsingDropsBlanksAndTabsEverywhere) {
  settings_.filterDomains.set(" sub. tld ,\t10.1.\t");
  EXPECT_FALSE(KeepsHost("a.sub.tld"));
  EXPECT_FALSE(KeepsHost("10.1.2.3"));
  EXPECT_TRUE(KeepsHost("sub. tld"));  // hosts keep their blanks
}

TEST_F(RequestFilters, EmptyHostsAndEmptySettingsKeepEverything) {
  settings_.filterDomains.set("");
  EXPECT_TRUE(KeepsHost("anything"));
  Reset();
  settings_.filterDomains.set("x");
  EXPECT_TRUE(KeepsHost(nullptr));
  EXPECT_TRUE(KeepsHost(""));
}

TEST_F(RequestFilters, AnEmptyEntryOccursInEveryHost) {
  settings_.filterDomains.set("a.com,");
  EXPECT_FALSE(KeepsHost("example.org"));
}

TEST_F(RequestFilters, DomainsAreParsedOnceOnFirstRealUseAndAgainAfterFree) {
  // An empty host returns before parsing, so the setting changed after it
  // still counts.
  settings_.filterDomains.set("first");
  EXPECT_TRUE(KeepsHost(""));
  settings_.filterDomains.set("second");
  EXPECT_FALSE(KeepsHost("second.com"));
  settings_.filterDomains.set("third");
  EXPECT_FALSE(KeepsHost("second.com"));  // still the parsed list
  EXPECT_TRUE(KeepsHost("third.com"));
  FreeDomainsNow();
  EXPECT_TRUE(KeepsHost("second.com"));
  EXPECT_FALSE(KeepsHost("third.com"));
}

TEST_F(RequestFilters, LongHostsAreComparedUpTo251Characters) {
  settings_.filterDomains.set("needle");
  std::string host(251, 'x');
  EXPECT_TRUE(KeepsHost((host + "needle").c_str()));
  EXPECT_FALSE(KeepsHost((host.substr(0, 245) + "needle").c_str()));
}

TEST_F(RequestFilters, FileTypesMatchWholeExtensionsIgnoringCase) {
  settings_.filterFileTypes.set("gif,jpg");
  EXPECT_FALSE(KeepsUrl("/x.gif"));
  EXPECT_FALSE(KeepsUrl("/y.JPG"));
  EXPECT_FALSE(KeepsUrl("/z.gif?size=2"));
  EXPECT_TRUE(KeepsUrl("/z.gifs"));
  EXPECT_TRUE(KeepsUrl("/dir.gif/index"));
  EXPECT_TRUE(KeepsUrl("/"));
}

TEST_F(RequestFilters, FileTypeParsingDropsBlanksAndOneLeadingDot) {
  settings_.filterFileTypes.set(".GIF, jp g\t,.png");
  EXPECT_FALSE(KeepsUrl("/a.gif"));
  EXPECT_FALSE(KeepsUrl("/a.jpg"));
  EXPECT_FALSE(KeepsUrl("/a.png"));
  Reset();
  // Only a dot right at the start of an entry is dropped; one behind a blank
  // stays and makes a doubled dot, which no file type equals.
  settings_.filterFileTypes.set("gif, .jpg");
  EXPECT_TRUE(KeepsUrl("/a.jpg"));
  EXPECT_EQ(NotFilteredFileType(&settings_, "..jpg"), 0);
}

TEST_F(RequestFilters, EmptyFileTypeSettingOrTypeKeepsEverything) {
  settings_.filterFileTypes.set("");
  EXPECT_TRUE(KeepsUrl("/a.gif"));
  Reset();
  settings_.filterFileTypes.set("gif");
  EXPECT_EQ(NotFilteredFileType(&settings_, ""), 1);
  EXPECT_EQ(NotFilteredFileType(&settings_, nullptr), 1);
  settings_.filterFileTypes.set("html");
  EXPECT_FALSE(KeepsUrl("/a.gif"));  // parsed on the first call, empty type or not
  FreeFileTypesNow();
  EXPECT_FALSE(KeepsUrl("/a.html"));
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
                        Case{"a.b.c", 0, "a.b.c"}, Case{"(null)", 0, ""}, Case{"", 1, ""}}) {
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

TEST(ItemNormalise, TruncateCgiCutsAtQueryOrQuote) {
  char u[64];
  strcpy(u, "/cgi/x.pl?q=1");
  TruncateCGI(u);
  EXPECT_STREQ(u, "/cgi/x.pl");
  strcpy(u, "/a\"b?c");
  TruncateCGI(u);
  EXPECT_STREQ(u, "/a");
  strcpy(u, "/plain");
  TruncateCGI(u);
  EXPECT_STREQ(u, "/plain");
}

TEST(ItemNormalise, TruncateFileTypeKeepsTheLastSegmentsExtension) {
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
}

}  // namespace

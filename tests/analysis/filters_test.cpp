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
    TruncateFileType(strcpy(type, url));
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

TEST(AddressTests, IsIpAddrWantsFourNumbersUpTo255AndIPaddressALastLabelWithoutLetters) {
  for (const char* yes : {"1.2.3.4", "  1.2.3.4", "1.2.3.4 rest", "255.255.255.255", "001.2.3.4"})
    EXPECT_EQ(IsIpAddr(yes), 1) << yes;
  for (const char* no : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.4x", "1..2.3", "1.2.3.", " 1.2.3.4\t",
                         "99999999999999999999.1.1.1", (const char*)nullptr})
    EXPECT_EQ(IsIpAddr(no), 0) << (no ? no : "null");
  for (const char* yes : {"10.1.2.3", "host.example.", "a1.b.42"}) EXPECT_EQ(IPaddress(yes), 1) << yes;
  for (const char* no : {"a.b.c", "localhost", "", (const char*)nullptr}) EXPECT_EQ(IPaddress(no), 0) << (no ? no : "null");
}

// What the pass counts for a host or URL: 'D'omain cut to n labels, domain
// 'L'ist item, domain 'T'ype, file 'E'xtension, 'C'GI path.
TEST(ItemNormalise, HostsAndUrlsAreCutToTheirItems) {
  const struct {
    char what;
    const char* in;
    int n;
    const char* out;
  } cases[] = {
      {'D', "a.b.c", 1, "c"}, {'D', "abc", 1, "abc"}, {'D', "a.b.c", 2, "b.c"}, {'D', "b.c", 2, "b.c"},
      {'D', "abc.", 1, ""}, {'D', "a.b.c", 0, "a.b.c"}, {'D', "(null)", 0, ""}, {'D', ".c", 1, "c"},
      {'L', "a.b.c.d", 0, "b.c.d"}, {'L', "b.c", 0, "b.c"}, {'L', "10.1.2.3", 0, "10.1.2"}, {'L', "10.1", 0, "10.1"},
      {'T', "b.c.d", 0, "d"}, {'T', "10.1.2", 0, "UNKNOWN"}, {'T', "localhost", 0, "localhost"}, {'T', "abc.", 0, ""},
      {'E', "/img/logo.GIF?x=1", 0, ".GIF"}, {'E', "/docs/", 0, ""}, {'E', "/a.b/c", 0, ""}, {'E', "/a.tar.gz", 0, ".gz"},
      {'E', "x.", 0, "."}, {'E', "/p?x=a.b", 0, ""},
      {'C', "/cgi/x.pl?q=1", 0, "/cgi/x.pl"}, {'C', "/a\"b?c", 0, "/a"}, {'C', "/plain", 0, "/plain"},
  };
  for (const auto& c : cases) {
    char item[64];
    strcpy(item, c.in);
    const char* out = item;
    if (c.what == 'D') TruncateDomain(item, c.n);
    if (c.what == 'L') out = IPaddress(item) ? (TruncateIP(item), item) : TruncateLSD(item);
    if (c.what == 'T') TruncateDomain(item, 1), checkIP(item);
    if (c.what == 'E') TruncateFileType(item);
    if (c.what == 'C') TruncateCGI(item);
    EXPECT_STREQ(out, c.out) << c.what << " " << c.in;
  }
  TruncateDomain(nullptr, 1);
}

}  // namespace

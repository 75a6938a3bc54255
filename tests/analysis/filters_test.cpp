#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "analysis/dns_cache.h"
#include "analysis/filters.h"
#include "settings/stats_fields.h"
#include "support/test_support.h"

namespace {

// Rows run in order: 'D'omain filter on a host or referrer, 'F'ile-type
// filter on a URL.  A setting of null keeps the parsed list of the row
// before (lists are parsed once, on first real use, and again after a free;
// "third" is set without a free).
TEST(RequestFilters, DomainFragmentsAndWholeFileTypesCompareIgnoringCaseWithoutBlanks) {
  const std::string x251(251, 'x');
  const struct {
    char filter;
    const char* setting;
    std::string text;
    bool keeps;
  } cases[] = {
      {'D', "Sub.TLD,10.1.", "a.sub.tld", false}, {'D', nullptr, "WWW.SUB.TLD", false}, {'D', nullptr, "10.1.2.3", false},
      {'D', nullptr, "http://x.sub.tld/page?q=1", false},  // referrers are searched whole
      {'D', nullptr, "sub.tl", true}, {'D', nullptr, "110.1.2.3", false}, {'D', nullptr, "example.com", true},
      {'D', " sub. tld ,\t10.1.\t", "a.sub.tld", false}, {'D', nullptr, "sub. tld", true},  // hosts keep their blanks
      {'D', "", "anything", true}, {'D', "x", "", true}, {'D', "a.com,", "example.org", false},  // an empty entry is in every host
      {'D', "first", "", true}, {'D', "second", "second.com", false},  // an empty host returns before parsing
      {'D', "third", "second.com", false}, {'D', "third", "third.com", true},
      {'D', "needle", x251 + "needle", true}, {'D', nullptr, x251.substr(0, 245) + "needle", false},  // 251 characters are read
      {'F', "gif,jpg", "/x.gif", false}, {'F', nullptr, "/y.JPG", false}, {'F', nullptr, "/z.gif?size=2", false},
      {'F', nullptr, "/z.gifs", true}, {'F', nullptr, "/dir.gif/index", true}, {'F', nullptr, "/", true},
      {'F', ".GIF, jp g\t,.png", "/a.gif", false}, {'F', nullptr, "/a.jpg", false}, {'F', nullptr, "/a.png", false},
      {'F', "gif, .jpg", "/a.jpg", true}, {'F', "third", "..jpg", false},  // a dot behind a blank stays: "..jpg"
      {'F', nullptr, "", true}, {'F', "c", "/a.c", false}, {'F', nullptr, "/a.cc", true}, {'F', "", "/a.gif", true},
  };
  StatsFields settings;
  for (const auto& c : cases) {
    if (c.setting && std::string(c.setting) != "third") (c.filter == 'D' ? FreeDomainsNow : FreeFileTypesNow)();
    if (c.setting) (c.filter == 'D' ? settings.filterDomains : settings.filterFileTypes).set(c.setting);
    char type[300];
    TruncateFileType(strcpy(type, c.text.c_str()));
    const int keeps = c.filter == 'D' ? NotFilteredDomain(&settings, c.text.c_str())
                                      : NotFilteredFileType(&settings, c.text[0] == '.' ? c.text.c_str() : type);
    EXPECT_EQ(keeps, c.keeps) << c.filter << " " << (c.setting ? c.setting : "-") << " " << c.text;
  }
  EXPECT_EQ(NotFilteredDomain(&settings, nullptr), 1);
  EXPECT_EQ(NotFilteredFileType(&settings, nullptr), 1);
  FreeDomainsNow();
  FreeFileTypesNow();
}

// What the pass makes of a host or URL: whether it 'I's an address (four
// numbers up to 255) or 'P' ends in a label without letters, a domain cut to
// n labels ('D'), a domain list item ('L'), a domain type ('T'), a file
// extension ('E'), a CGI path ('C'), the 'N'ame of a domain type from the
// Networks file (cut at 99 characters).
TEST(ItemNormalise, HostsAndUrlsAreCutToTheirItems) {
  testing_support::TempDir dir;
  testing_support::WriteFile(dir.file("networks"), "EDU Education\nFR " + std::string(150, 'n') + "\nCOM Commercial");
  const std::string n99(99, 'n');
  const struct {
    char what;
    const char* in;
    int n;
    const char* out;
  } cases[] = {
      {'I', "  1.2.3.4 rest", 0, "1"}, {'I', "255.255.255.255", 0, "1"}, {'I', "001.2.3.4", 0, "1"}, {'I', "1.2.3", 0, "0"},
      {'I', "1.2.3.4.5", 0, "0"}, {'I', "1.2.3.256", 0, "0"}, {'I', "1.2.3.4x", 0, "0"}, {'I', "1..2.3", 0, "0"},
      {'I', "1.2.3.", 0, "0"}, {'I', " 1.2.3.4\t", 0, "0"}, {'I', "99999999999999999999.1.1.1", 0, "0"}, {'I', "", 0, "0"},
      {'P', "10.1.2.3", 0, "1"}, {'P', "host.example.", 0, "1"}, {'P', "a1.b.42", 0, "1"}, {'P', "a.b.c", 0, "0"}, {'P', "", 0, "0"},
      {'D', "a.b.c", 1, "c"}, {'D', "abc", 1, "abc"}, {'D', "a.b.c", 2, "b.c"}, {'D', "b.c", 2, "b.c"},
      {'D', "abc.", 1, ""}, {'D', "a.b.c", 0, "a.b.c"}, {'D', "(null)", 0, ""}, {'D', ".c", 1, "c"},
      {'L', "a.b.c.d", 0, "b.c.d"}, {'L', "b.c", 0, "b.c"}, {'L', "10.1.2.3", 0, "10.1.2"}, {'L', "10.1", 0, "10.1"},
      {'T', "b.c.d", 0, "d"}, {'T', "10.1.2", 0, "UNKNOWN"}, {'T', "localhost", 0, "localhost"}, {'T', "abc.", 0, ""},
      {'E', "/img/logo.GIF?x=1", 0, ".GIF"}, {'E', "/docs/", 0, ""}, {'E', "/a.b/c", 0, ""}, {'E', "/a.tar.gz", 0, ".gz"},
      {'E', "x.", 0, "."}, {'E', "/p?x=a.b", 0, ""}, {'C', "/cgi/x.pl?q=1", 0, "/cgi/x.pl"}, {'C', "/a\"b?c", 0, "/a"},
      {'N', "fr", 0, n99.c_str()}, {'N', "edu", 0, "Education"}, {'N', "com", 0, "COM"},  // a last line needs its line end
  };
  for (const auto& c : cases) {
    char item[244];
    strcpy(item, c.in);
    const char* out = item;
    if (c.what == 'I' || c.what == 'P') out = (c.what == 'I' ? IsIpAddr(item) : IPaddress(item)) ? "1" : "0";
    if (c.what == 'D') TruncateDomain(item, c.n);
    if (c.what == 'L') out = IPaddress(item) ? (TruncateIP(item), item) : TruncateLSD(item);
    if (c.what == 'T') TruncateDomain(item, 1), checkIP(item);
    if (c.what == 'E') TruncateFileType(item);
    if (c.what == 'C') TruncateCGI(item);
    if (c.what == 'N') ResolveItem(item, dir.file("networks").c_str());
    EXPECT_STREQ(out, c.out) << c.what << " " << c.in;
  }
  EXPECT_EQ(IsIpAddr(nullptr) + IPaddress(nullptr), 0);
  TruncateDomain(nullptr, 1);
}

}  // namespace

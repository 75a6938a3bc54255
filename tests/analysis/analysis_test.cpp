// The analysis pass, run in-process over small logs: which hits count where.
#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "analysis/analysis.h"
#include "analysis/dns_cache.h"
#include "analysis/filters.h"
#include "driver/analyze_logs.h"
#include "support/fixtures.h"

namespace {

// One combined-format line at 01/Jan/2024 10:00:0<second>, or at the whole stamp given as second.
std::string L(const std::string& host, const std::string& second, const std::string& url, int status = 200,
              const std::string& referrer = "-", const std::string& agent = "-") {
  const std::string stamp = second.size() == 1 ? "01/Jan/2024:10:00:0" + second : second;
  return host + " - - [" + stamp + " +0000] \"GET " + url + " HTTP/1.0\" " + std::to_string(status) + " 100 \"" + referrer +
         "\" \"" + agent + "\"\n";
}

// Hits of 1996 agents of no family, of four Microsoft agents, then of one
// Netscape agent as long as those.
std::string AgentsThenNetscape() {
  std::string log;
  char agent[64];
  for (int i = 0; i < 2001; ++i) {
    snprintf(agent, sizeof agent, i < 1996 ? "Zz/%d" : i < 2000 ? "Mozilla/4.0 (compatible; MSIE 5.0; %05d)" : "Mozilla/4.7 [en] (X11; Linux 2.4.10 %04d)", i);
    log += L("h", "0", "/", 200, "-", agent);
  }
  return log;
}

int gQuestions = 0;

char* ScriptedLookup(uint32_t address, void*) {
  static const std::map<std::string, std::string> names = {
      {"10.0.0.1", "ws1.dept.example.com"}, {"10.0.0.5", "ws1.blocked.example"}, {"10.0.0.6", "ws2.fine.example"}};
  ++gQuestions;
  auto it = names.find(inet_ntoa(in_addr{address}));
  return it == names.end() ? nullptr : strdup(it->second.c_str());
}

class PassTest : public SettingsTest {};

// A log of a few lines, the settings that differ from the defaults, and
// what the pass made of them: hits counted, name questions asked, texts the
// page shows and ("!") texts it must not show.
TEST_F(PassTest, EachHitCountsWhereItsSettingsSay) {
  const std::string g = "http://www.google.com/search?", get = " +0000] \"GET / HTTP/1.0\" 200 1\n";
  const std::string staff = "1.1.1.1 staff ann [01/Jan/2024:10:00:00" + get + "1.1.1.1 staff bob [01/Jan/2024:10:00:01" + get;
  const struct {
    std::string log;
    std::function<void(StatsFields&)> set;
    int hits, questions;
    std::vector<std::string> shown;
  } cases[] = {
      // The range's edges count; the first hit past the range ends the file.
      {L("h", "31/Dec/2023:23:59:59", "/before") + L("h", "01/Jan/2024:00:00:00", "/first") + L("h", "02/Jan/2024:23:59:59", "/last") +
           L("h", "03/Jan/2024:00:00:00", "/after") + L("h", "02/Jan/2024:12:00:00", "/never-read"),
       [](StatsFields& s) { s.requests.show = 1; }, 2, 0,
       {">/first</a>", ">/last</a>", ">HTTP Bytes Served:</b></td><td width=\"50%\">200</td>", "!/before", "!/after", "!/never-read"}},
      // find with subdirs is a prefix test, ignoring case unless told; a
      // dropped line between two hits leaves the first as it was read.
      {L("h", "0", "/docs/a.html") + L("h", "1", "/doc") + L("h", "2", "/DOCS/b.html") + L("h", "3", "/other/docs/"),
       [](StatsFields& s) { s.find.set("/docs"), s.requests.show = 1; }, 2, 0,
       {"<b>URL Analyzed:</b></td><td width=\"50%\">/docs</td>", ">/docs/a.html</a>", ">/DOCS/b.html</a>"}},
      {L("h", "0", "/docs/a.html") + L("h", "1", "/DOCS/b.html"), [](StatsFields& s) { s.find.set("/docs"), s.findCaseSensitive = 1; }, 1, 0, {}},
      {L("h", "0", "/docs/a.html") + L("h", "1", "/docsx") + L("h", "2", "/other"), [](StatsFields& s) { s.find.set("/docs"), s.findPattern = 1; },
       2, 0, {"<b>URL Analyzed:</b></td><td width=\"50%\">/docs*</td>"}},
      {L("h", "0", "/docs/a.html") + L("h", "1", "/docs/b.html") + L("h", "2", "/DOCS/c.html"),
       [](StatsFields& s) { s.find.set("/docs"), s.findPattern = 1, s.findCaseSensitive = 1; }, 2, 0, {}},
      // The query is cut off before the prefix test unless shown.
      {L("h", "0", "/a?x=1"), [](StatsFields& s) { s.find.set("/a?x"); }, 0, 0, {}},
      {L("h", "0", "/a?x=1"), [](StatsFields& s) { s.find.set("/a?x"), s.showQuery = 1; }, 1, 0, {}},
      // Without subdirs the whole path must match, but not the query unless shown.
      {L("h", "0", "/a") + L("h", "1", "/a?x=1") + L("h", "2", "/ab"), [](StatsFields& s) { s.find.set("/a"), s.subdirs = 0; }, 2, 0, {}},
      {L("h", "0", "/a") + L("h", "1", "/a?x=1") + L("h", "2", "/ab"), [](StatsFields& s) { s.find.set("/a"), s.subdirs = 0, s.showQuery = 1; }, 1, 0, {}},
      // Excluded file types still count as bad URLs and bad referrers.
      {L("h", "0", "/logo.gif", 404, "http://ref.example/") + L("h", "1", "/page.html") + L("h", "2", "/gone.html", 404),
       [](StatsFields& s) { s.filterFileTypes.set("gif"), s.requests.show = s.badUrls.show = s.badReferrers.show = 1; }, 2, 0,
       {">/logo.gif</a></td></tr>", "<td><a href=\"http://ref.example/\" target=\"_blank\">", "<b>1</b> distinct  bad referrers"}},
      {L("h", "0", "/a") + L("h", "1", "/b", 404), [](StatsFields& s) { s.badUrls.show = 1; }, 2, 0,
       {"<td align=center>1</td><td align=center>50.00%</td>", "!Top URLs Requested"}},
      // "MSIE" anywhere, with case; "Mozilla/" without "ompatible"; no agent, no browser.
      {L("h", "0", "/", 200, "-", "Mozilla/4.0 (compatible; MSIE 5.0)") + L("h", "1", "/", 200, "-", "Mozilla/4.7 [en] (X11)") +
           L("h", "2", "/", 200, "-", "Mozilla/3.0 MSIE-ish") + L("h", "3", "/", 200, "-", "Lynx/2.8") +
           L("h", "4", "/x.gif", 200, "-", "Mozilla/5 msie") + L("h", "5", "/"),
       [](StatsFields& s) { s.browsers.show = 1, s.filterFileTypes.set("gif"); }, 5, 0,
       {"<b>4</b> distinct browsers were found.", "<b>2</b> of the requests (<b>50%</b>) were from versions of Netscape",
        "<b>2</b> of the requests (<b>50%</b>) were from versions of Microsoft"}},
      // A browser that smart memory freed comes back as another agent.
      {AgentsThenNetscape(), [](StatsFields& s) {
         s.browsers.show = 1, s.smartMemoryMaxMemory = 500, s.smartMemoryReclaimSize = 1, s.smartMemoryKeepEntries = 0;
       }, 2001, 0, {"<b>1</b> of the requests (<b>0%</b>) were from versions of Netscape",
        "<b>4</b> of the requests (<b>0%</b>) were from versions of Microsoft"}},
      // URLs lose their query and merge ignoring case unless told.
      {L("h", "0", "/Zoo/Ant.html?x=1") + L("h", "1", "/zoo/ant.html"), [](StatsFields& s) { s.requests.show = 1; }, 2, 0,
       {"<tr><td align=center>2</td><td align=center>100.00%</td><td><a href=\"http://www.example.org/Zoo/Ant.html\""}},
      {L("h", "0", "/Index.html?x=1") + L("h", "1", "/index.html"), [](StatsFields& s) { s.requests.show = 1, s.findCaseSensitive = 1; },
       2, 0, {"<b>2</b> distinct URLs were found."}},
      // A URL that the reader joins from two fields counts as it was read.
      {"#Software: Microsoft Internet Information Server 4.0\n#Fields: date time cs-uri-stem cs-uri-query\n2024-01-01 10:00:00 /a x=1\n2024-01-01 10:00:01 /b y=2\n",
       [](StatsFields& s) { s.requests.show = s.showQuery = 1; }, 2, 0, {">/a?x=1</a>", ">/b?y=2</a>"}},
      // Referrer filtering drops referrers of excluded domains; search
      // phrases count whatever the file type.
      {L("h", "0", "/", 200, g + "hl=en&q=web+logs") + L("h", "1", "/", 200, "http://spam.example/search?q=pills") +
           L("h", "2", "/", 200, "http://friend.example/links.html") + L("h", "3", "/x.gif", 200, g + "q=gif"),
       [](StatsFields& s) {
         s.referrers.show = s.search.show = s.filterReferrers = 1, s.filterDomains.set("spam.example"), s.filterFileTypes.set("gif");
       },
       3, 0, {"<td>web logs</td>", "<td>gif</td>", ">http://friend.example/links.html</a>", "<b>2</b> distinct referrers", "!pills"}},
      {staff + "1.1.1.1 - ann [01/Jan/2024:10:00:02" + get, [](StatsFields& s) { s.authRealm.set("STAFF"); }, 2, 0, {}},
      {staff, [](StatsFields& s) { s.authRealm.set("STAFF"), s.authUser.set("Ann"); }, 1, 0, {}},
      // Names are looked up for the domain lists, once per address...
      {L("10.0.0.1", "0", "/") + L("10.0.0.1", "1", "/") + L("10.0.0.2", "2", "/") + L("10.0.0.3", "3", "/x.gif"),
       [](StatsFields& s) { s.dnsLookupEnabled = 1, s.domains.show = s.domainTypes.show = 1, s.filterFileTypes.set("gif"); }, 3, 2,
       {"<td>dept.example.com</td>", "<td>10.0.0</td>", "<td>UNKNOWN</td>"}},
      {L("10.0.0.1", "0", "/"), [](StatsFields& s) { s.dnsLookupEnabled = 1, s.requests.show = 1; }, 1, 0, {}},
      // 300 addresses share some of the cache's 1024 slots: each is still asked once.
      {[] {
         std::string log;
         for (int i = 0; i < 600; ++i) log += L("10.1." + std::to_string(i % 300 / 250) + "." + std::to_string(i % 300 % 250), "0", "/");
         return log;
       }(),
       [](StatsFields& s) { s.dnsLookupEnabled = 1, s.domains.show = 1; }, 600, 300, {}},
      // A host's later hits count as its first, an IPv6 address and a long
      // name included, though its browser may change.
      {L("2001:db8::1", "0", "/", 200, "-", "A/10") + L("2001:db8::1", "1", "/", 200, "-", "A/1") +
           L("host." + std::string(50, 'n') + ".example.org", "2", "/", 200, "-", "A/1") +
           L("host." + std::string(50, 'n') + ".example.org", "3", "/", 200, "-", "A/1") +
           L("a.example.net", "4", "/", 200, "-", "B/2") + L("a.example.net", "5", "/", 200, "-", "C/2"),
       [](StatsFields& s) { s.domains.show = s.domainTypes.show = s.browsers.show = 1; }, 6, 0,
       {"<b>3</b> distinct domains", "<b>3</b> distinct origins", "33.33%</td><td>2001:db8::1</td>", "33.33%</td><td>NET</td>",
        "<b>4</b> distinct browsers", "50.00%</td><td>A/1</td>"}},
      {L("2001:db8::1", "0", "/"), [](StatsFields& s) { s.domainTypes.show = 1; }, 1, 0, {"<td>UNKNOWN</td>", "!<td>2001"}},
      {L("h", "0", "/", 1234) + L("h", "1", "/", 431), [](StatsFields& s) { s.statusCodes.show = 1; }, 2, 0,
       {"<td>1234 Unknown</td>", "<td>431 Request Header Fields Too Large</td>"}},  // a code past 999 keeps its number
      {L("10.0.0.9", "0", "/a.gif") + L("10.0.0.9", "1", "/"), [](StatsFields& s) { s.domains.show = 1, s.filterFileTypes.set("gif"); }, 1, 0,
       {"<td align=center>1</td><td align=center>100.00%</td><td>10.0.0</td>"}},  // an omitted file type counts in no domain
      // ...and for every hit when a named host filter needs them; a dropped
      // hit is not even a bad URL, and an excluded file type asks nothing.
      {L("10.0.0.5", "0", "/gone", 404) + L("10.0.0.6", "1", "/") + L("10.0.0.7", "2", "/") + L("10.0.0.8", "3", "/y.gif"),
       [](StatsFields& s) {
         s.dnsLookupEnabled = 1, s.filterDomains.set("blocked.example"), s.badUrls.show = s.requests.show = 1, s.filterFileTypes.set("gif");
       },
       2, 3, {"!/gone"}},
  };
  testing_support::TempDir dir;
  ReverseResolver resolver{ScriptedLookup, nullptr};
  for (const auto& c : cases) {
    Reset();
    AnalysisResetForTesting();
    SetReverseResolver(&resolver);
    ReportDefaults();
    settings.subdirs = 1, settings.dateStart.set("01012024"), settings.dateEnd.set("01022024");
    settings.logs.set(dir.file("*.log").c_str());
    testing_support::WriteFile(dir.file("access.log"), c.log);
    c.set(settings), gQuestions = 0;
    testing_support::CaptureStdout out;
    do_bigass_analysis(&settings, &env);
    const std::string page = out.Finish(), what = c.log.substr(0, 60);
    EXPECT_EQ(AnalysisLastTotalHitsForTesting(), c.hits) << what;
    EXPECT_EQ(gQuestions, c.questions) << what;
    for (const std::string& text : c.shown)
      EXPECT_EQ(page.find(text[0] == '!' ? text.substr(1) : text) != std::string::npos, text[0] != '!') << what << "\n" << text;
    FreeDomainsNow(), FreeFileTypesNow();
  }
  SetReverseResolver(nullptr);
}

}  // namespace

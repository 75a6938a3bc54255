// The analysis pass, run in-process over small logs: which hits count where.

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "analysis/analysis.h"
#include "driver/analyze_logs.h"
#include "analysis/dns_cache.h"
#include "analysis/filters.h"
#include "report/sections.h"
#include "support/fixtures.h"

namespace {

using testing_support::CaptureStdout;
using testing_support::TempDir;
using testing_support::WriteFile;

// One combined-format line; an empty referrer or agent is written as "-".
std::string Line(const std::string& host, const std::string& stamp, const std::string& url,
                 int status = 200, int bytes = 100, const std::string& referrer = "",
                 const std::string& agent = "") {
  char buf[1024];
  snprintf(buf, sizeof buf, "%s - - [%s +0000] \"GET %s HTTP/1.0\" %d %d \"%s\" \"%s\"\n",
           host.c_str(), stamp.c_str(), url.c_str(), status, bytes,
           referrer.empty() ? "-" : referrer.c_str(), agent.empty() ? "-" : agent.c_str());
  return buf;
}

// Hits of 1996 agents of no family, of four Microsoft agents, then of one
// Netscape agent as long as those.
std::string AgentsThenNetscape() {
  std::string log;
  char agent[64];
  for (int i = 0; i < 2001; ++i) {
    snprintf(agent, sizeof agent, i < 1996 ? "Zz/%d" : i < 2000 ? "Mozilla/4.0 (compatible; MSIE 5.0; %05d)" : "Mozilla/4.7 [en] (X11; Linux 2.4.10 %04d)", i);
    log += Line("h", "01/Jan/2024:10:00:00", "/", 200, 1, "", agent);
  }
  return log;
}

struct ScriptedNames {
  std::map<std::string, std::string> names;  // dotted address -> name
  int questions = 0;
};

char* ScriptedLookup(uint32_t address, void* context) {
  auto* script = static_cast<ScriptedNames*>(context);
  ++script->questions;
  in_addr a{address};
  auto it = script->names.find(inet_ntoa(a));
  return it == script->names.end() ? nullptr : strdup(it->second.c_str());
}

class PassTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    AnalysisResetForTesting();
    ReverseResolver resolver{ScriptedLookup, &names_};
    SetReverseResolver(&resolver);
    ReportDefaults();
    settings.subdirs = 1;
    settings.dateStart.set("01012024");
    settings.dateEnd.set("01022024");
    settings.logs.set(dir_.file("*.log").c_str());
  }
  void TearDown() override {
    SetReverseResolver(nullptr);
    SettingsTest::TearDown();
  }

  void Log(const std::string& lines) { WriteFile(dir_.file("access.log"), lines); }

  std::string Run() {
    CaptureStdout out;
    do_bigass_analysis(&settings, &env);
    return out.Finish();
  }

  const PassResults& Results() { return AnalysisLastResultsForTesting(); }
  int32_t TotalHits() { return AnalysisLastTotalHitsForTesting(); }

  TempDir dir_;
  ScriptedNames names_;
};

// A log of a few lines, the settings that differ from the fixture's, and
// what the pass made of them: hits counted, name questions asked, texts
// that the page shows and texts it must not show.
TEST_F(PassTest, EachHitCountsWhereItsSettingsSay) {
  const std::string d = "01/Jan/2024:10:00:0";
  const std::string g = "http://www.google.com/search?";
  names_.names["10.0.0.1"] = "ws1.dept.example.com";
  names_.names["10.0.0.5"] = "ws1.blocked.example";
  names_.names["10.0.0.6"] = "ws2.fine.example";
  const struct {
    std::string log;
    std::function<void(StatsFields&)> set;
    int hits, questions;
    std::vector<std::string> shown, hidden;
  } cases[] = {
      // The range's edges count; the first hit past the range ends the file.
      {Line("h", "31/Dec/2023:23:59:59", "/before") + Line("h", "01/Jan/2024:00:00:00", "/first") +
           Line("h", "02/Jan/2024:23:59:59", "/last") + Line("h", "03/Jan/2024:00:00:00", "/after") +
           Line("h", "02/Jan/2024:12:00:00", "/never-read"),
       [](StatsFields& s) { s.requests.show = 1; }, 2, 0,
       {">/first</a>", ">/last</a>", ">2</td>\n</tr>\n<tr>\n<td width=\"50%\"><b>HTTP Bytes Served:</b></td><td width=\"50%\">200</td>"},
       {"/before", "/after", "/never-read"}},
      // find with subdirs is a prefix test, ignoring case unless told.
      {Line("h", d + "0", "/docs/a.html") + Line("h", d + "1", "/DOCS/b.html") + Line("h", d + "2", "/doc") +
           Line("h", d + "3", "/other/docs/"),
       [](StatsFields& s) { s.find.set("/docs"); }, 2, 0, {"<b>URL Analyzed:</b></td><td width=\"50%\">/docs</td>"}, {}},
      {Line("h", d + "0", "/docs/a.html") + Line("h", d + "1", "/DOCS/b.html"),
       [](StatsFields& s) { s.find.set("/docs"), s.findCaseSensitive = 1; }, 1, 0, {}, {}},
      {Line("h", d + "0", "/docs/a.html") + Line("h", d + "1", "/docsx") + Line("h", d + "2", "/other"),
       [](StatsFields& s) { s.find.set("/docs"), s.findPattern = 1; }, 2, 0,
       {"<b>URL Analyzed:</b></td><td width=\"50%\">/docs*</td>"}, {}},
      // The query is cut off before the prefix test unless shown.
      {Line("h", d + "0", "/a?x=1"), [](StatsFields& s) { s.find.set("/a?x"); }, 0, 0, {}, {}},
      {Line("h", d + "0", "/a?x=1"), [](StatsFields& s) { s.find.set("/a?x"), s.showQuery = 1; }, 1, 0, {}, {}},
      // Without subdirs the whole path must match, but not the query unless shown.
      {Line("h", d + "0", "/a") + Line("h", d + "1", "/a?x=1") + Line("h", d + "2", "/ab"),
       [](StatsFields& s) { s.find.set("/a"), s.subdirs = 0; }, 2, 0, {}, {}},
      {Line("h", d + "0", "/a") + Line("h", d + "1", "/a?x=1") + Line("h", d + "2", "/ab"),
       [](StatsFields& s) { s.find.set("/a"), s.subdirs = 0, s.showQuery = 1; }, 1, 0, {}, {}},
      // Excluded file types still count as bad URLs and bad referrers.
      {Line("h", d + "0", "/logo.gif", 404, 0, "http://ref.example/") + Line("h", d + "1", "/page.html", 200, 300) +
           Line("h", d + "2", "/gone.html", 404),
       [](StatsFields& s) { s.filterFileTypes.set("gif"), s.requests.show = s.badUrls.show = s.badReferrers.show = 1; },
       2, 0, {">/logo.gif</a></td></tr>", "<td><a href=\"http://ref.example/\" target=\"_blank\">", "<b>1</b> distinct  bad referrers"}, {}},
      {Line("h", d + "0", "/a") + Line("h", d + "1", "/b", 404), [](StatsFields& s) { s.badUrls.show = 1; }, 2, 0,
       {"<td align=center>1</td><td align=center>50.00%</td>"}, {"Top URLs Requested"}},
      // "MSIE" anywhere, with case; "Mozilla/" without "ompatible"; no agent, no browser.
      {Line("h", d + "0", "/", 200, 1, "", "Mozilla/4.0 (compatible; MSIE 5.0)") +
           Line("h", d + "1", "/", 200, 1, "", "Mozilla/4.7 [en] (X11)") + Line("h", d + "2", "/", 200, 1, "", "Mozilla/3.0 MSIE-ish") +
           Line("h", d + "3", "/", 200, 1, "", "Lynx/2.8") + Line("h", d + "4", "/x.gif", 200, 1, "", "Mozilla/5 msie") +
           Line("h", d + "5", "/", 200, 1),
       [](StatsFields& s) { s.browsers.show = 1, s.filterFileTypes.set("gif"); }, 5, 0,
       {"<b>4</b> distinct browsers were found.", "<b>2</b> of the requests (<b>50%</b>) were from versions of Netscape",
        "<b>2</b> of the requests (<b>50%</b>) were from versions of Microsoft"}, {}},
      // A browser that smart memory freed comes back as another agent.
      {AgentsThenNetscape(), [](StatsFields& s) {
         s.browsers.show = 1, s.smartMemoryMaxMemory = 500, s.smartMemoryReclaimSize = 1, s.smartMemoryKeepEntries = 0;
       }, 2001, 0, {"<b>1</b> of the requests (<b>0%</b>) were from versions of Netscape",
        "<b>4</b> of the requests (<b>0%</b>) were from versions of Microsoft"}, {}},
      // URLs lose their query and merge ignoring case unless told.
      {Line("h", d + "0", "/Index.html?x=1") + Line("h", d + "1", "/index.html"), [](StatsFields& s) { s.requests.show = 1; },
       2, 0, {"<tr><td align=center>2</td><td align=center>100.00%</td><td><a href=\"http://www.example.org/Index.html\""}, {}},
      {Line("h", d + "0", "/Index.html?x=1") + Line("h", d + "1", "/index.html"),
       [](StatsFields& s) { s.requests.show = 1, s.findCaseSensitive = 1; }, 2, 0, {"<b>2</b> distinct URLs were found."}, {}},
      // A URL that the reader joins from two fields counts as it was read.
      {"#Software: Microsoft Internet Information Server 4.0\n#Fields: date time cs-uri-stem cs-uri-query\n2024-01-01 10:00:00 /a x=1\n2024-01-01 10:00:01 /b y=2\n",
       [](StatsFields& s) { s.requests.show = s.showQuery = 1; }, 2, 0, {">/a?x=1</a>", ">/b?y=2</a>"}, {}},
      // Referrer filtering drops referrers of excluded domains; search phrases
      // count whatever the file type.
      {Line("h", d + "0", "/", 200, 1, g + "hl=en&q=web+logs") + Line("h", d + "1", "/", 200, 1, "http://spam.example/search?q=pills") +
           Line("h", d + "2", "/", 200, 1, "http://friend.example/links.html") + Line("h", d + "3", "/x.gif", 200, 1, g + "q=gif"),
       [](StatsFields& s) {
         s.referrers.show = s.search.show = s.filterReferrers = 1, s.filterDomains.set("spam.example"), s.filterFileTypes.set("gif");
       },
       3, 0, {"<td>web logs</td>", "<td>gif</td>", ">http://friend.example/links.html</a>", "<b>2</b> distinct referrers"}, {"pills"}},
      {"1.1.1.1 staff ann [" + d + "0 +0000] \"GET / HTTP/1.0\" 200 1\n1.1.1.1 staff bob [" + d +
           "1 +0000] \"GET / HTTP/1.0\" 200 1\n1.1.1.1 - ann [" + d + "2 +0000] \"GET / HTTP/1.0\" 200 1\n",
       [](StatsFields& s) { s.authRealm.set("STAFF"); }, 2, 0, {}, {}},
      {"1.1.1.1 staff ann [" + d + "0 +0000] \"GET / HTTP/1.0\" 200 1\n1.1.1.1 staff bob [" + d + "1 +0000] \"GET / HTTP/1.0\" 200 1\n",
       [](StatsFields& s) { s.authRealm.set("STAFF"), s.authUser.set("Ann"); }, 1, 0, {}, {}},
      // Names are looked up for the domain lists, once per address...
      {Line("10.0.0.1", d + "0", "/") + Line("10.0.0.1", d + "1", "/") + Line("10.0.0.2", d + "2", "/") +
           Line("10.0.0.3", d + "3", "/x.gif"),
       [](StatsFields& s) { s.dnsLookupEnabled = 1, s.domains.show = s.domainTypes.show = 1, s.filterFileTypes.set("gif"); }, 3, 2,
       {"<td>dept.example.com</td>", "<td>10.0.0</td>", "<td>UNKNOWN</td>"}, {}},
      {Line("10.0.0.1", d + "0", "/"), [](StatsFields& s) { s.dnsLookupEnabled = 1, s.requests.show = 1; }, 1, 0, {}, {}},
      // ...and for every hit when a named host filter needs them; a dropped
      // hit is not even a bad URL, and an excluded file type asks nothing.
      {Line("10.0.0.5", d + "0", "/gone", 404) + Line("10.0.0.6", d + "1", "/") + Line("10.0.0.7", d + "2", "/") +
           Line("10.0.0.8", d + "3", "/y.gif"),
       [](StatsFields& s) {
         s.dnsLookupEnabled = 1, s.filterDomains.set("blocked.example"), s.badUrls.show = s.requests.show = 1, s.filterFileTypes.set("gif");
       },
       2, 3, {}, {"/gone"}},
  };
  for (const auto& c : cases) {
    TearDown();
    SetUp();
    names_.questions = 0;
    Log(c.log);
    c.set(settings);
    const std::string page = Run();
    const std::string what = c.log.substr(0, 60);
    EXPECT_EQ(TotalHits(), c.hits) << what;
    EXPECT_EQ(names_.questions, c.questions) << what;
    for (const std::string& text : c.shown) EXPECT_NE(page.find(text), std::string::npos) << what << "\n" << text;
    for (const std::string& text : c.hidden) EXPECT_EQ(page.find(text), std::string::npos) << what << "\n" << text;
    FreeDomainsNow();
    FreeFileTypesNow();
  }
}

}  // namespace

// The analysis pass, run in-process over small logs: which hits count where.
#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "analysis/analysis.h"
#include "driver/analyze_logs.h"
#include "analysis/dns_cache.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "cgi/cgi_env.h"
#include "report/frame.h"
#include "report/sections.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "support/test_support.h"

namespace {

using testing_support::CaptureStdout;
using testing_support::TempDir;
using testing_support::WriteFile;

// Stores a path in a settings field (cut at the field's width).
template <size_t N>
void SetPath(ll::FixedText<N>* field, const std::string& path) {
  field->set(path.data(), path.size());
}

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

class PassTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings_, &env_);
    ResetGlobalsForTesting();
    SuperLog_ResetForTesting();
    smart_memory_reset_for_testing();
    AnalysisResetForTesting();
    ResetExtraTextRanksForTesting();
    ReverseResolver resolver{ScriptedLookup, &names_};
    SetReverseResolver(&resolver);
    settings_.title.set("Web Site Analysis");
    settings_.url.set("http://www.example.org");
    settings_.imagePath.set("/img");
    settings_.find.set("/");
    settings_.subdirs = 1;
    settings_.dateStart.set("01012024");
    settings_.dateEnd.set("01022024");
    SetPath(&settings_.logs, dir_.file("*.log"));
  }
  void TearDown() override {
    SetReverseResolver(nullptr);
    SuperLog_ResetForTesting();
    ResetGlobalsForTesting();
  }

  void Log(const std::string& lines) { WriteFile(dir_.file("access.log"), lines); }

  std::string Run() {
    CaptureStdout out;
    do_bigass_analysis(&settings_, &env_);
    return out.Finish();
  }

  const PassResults& Results() { return AnalysisLastResultsForTesting(); }
  int32_t TotalHits() { return AnalysisLastTotalHitsForTesting(); }

  TempDir dir_;
  ScriptedNames names_;
  StatsFields settings_;
  CgiEnv env_;
};

bool Has(const std::string& page, const std::string& text) {
  return page.find(text) != std::string::npos;
}

TEST_F(PassTest, RangeEdgesAndTheFirstHitPastTheRangeEndsTheFile) {
  Log(Line("1.1.1.1", "31/Dec/2023:23:59:59", "/before") +
      Line("1.1.1.1", "01/Jan/2024:00:00:00", "/first") +
      Line("1.1.1.1", "02/Jan/2024:23:59:59", "/last") +
      Line("1.1.1.1", "03/Jan/2024:00:00:00", "/after") +
      Line("1.1.1.1", "02/Jan/2024:12:00:00", "/never-read"));
  settings_.requests.show = 1;
  std::string page = Run();
  EXPECT_EQ(TotalHits(), 2);
  EXPECT_EQ(Results().urlHits, 2);
  EXPECT_TRUE(Has(page, ">/first</a>"));
  EXPECT_TRUE(Has(page, ">/last</a>"));
  EXPECT_FALSE(Has(page, "/before"));
  EXPECT_FALSE(Has(page, "/after"));
  EXPECT_FALSE(Has(page, "/never-read"));
  EXPECT_TRUE(Has(page, ">2</td>\n</tr>\n<tr>\n<td width=\"50%\"><b>HTTP Bytes Served:</b></td>"
                        "<td width=\"50%\">200</td>"));
}

TEST_F(PassTest, FindWithSubdirsIsAPrefixTest) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/docs/a.html") +
      Line("h", "01/Jan/2024:10:00:01", "/DOCS/b.html") +
      Line("h", "01/Jan/2024:10:00:02", "/doc") +
      Line("h", "01/Jan/2024:10:00:03", "/other/docs/"));
  settings_.find.set("/docs");
  EXPECT_TRUE(Has(Run(), "<b>URL Analyzed:</b></td><td width=\"50%\">/docs</td>"));
  EXPECT_EQ(TotalHits(), 2);  // case ignored, "/doc" too short

  settings_.findCaseSensitive = 1;
  Run();
  EXPECT_EQ(TotalHits(), 1);
}

TEST_F(PassTest, FindPatternWithSubdirsGetsATrailingStar) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/docs/a.html") +
      Line("h", "01/Jan/2024:10:00:01", "/docsx") +
      Line("h", "01/Jan/2024:10:00:02", "/other"));
  settings_.find.set("/docs");
  settings_.findPattern = 1;
  std::string page = Run();
  EXPECT_EQ(std::string(settings_.find.c_str()), "/docs*");
  EXPECT_TRUE(Has(page, "<b>URL Analyzed:</b></td><td width=\"50%\">/docs*</td>"));
  EXPECT_EQ(TotalHits(), 2);
}

TEST_F(PassTest, FindWithoutSubdirsMatchesTheWholePathButNotTheQuery) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/a") + Line("h", "01/Jan/2024:10:00:01", "/a?x=1") +
      Line("h", "01/Jan/2024:10:00:02", "/ab"));
  settings_.find.set("/a");
  settings_.subdirs = 0;
  Run();
  EXPECT_EQ(TotalHits(), 2);
  settings_.showQuery = 1;  // the query now takes part in the test
  Run();
  EXPECT_EQ(TotalHits(), 1);
}

TEST_F(PassTest, ExcludedFileTypesStillCountAsBadUrls) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/logo.gif", 404, 0, "http://ref.example/") +
      Line("h", "01/Jan/2024:10:00:01", "/page.html", 200, 300));
  settings_.filterFileTypes.set("gif");
  settings_.requests.show = settings_.badUrls.show = settings_.badReferrers.show = 1;
  std::string page = Run();
  EXPECT_EQ(TotalHits(), 1);
  EXPECT_EQ(Results().urlHits, 1);
  EXPECT_TRUE(Has(page, ">/logo.gif</a></td></tr>"));
  EXPECT_TRUE(Has(page, "<td><a href=\"http://ref.example/\" target=\"_blank\">"));
}

TEST_F(PassTest, BadUrlsAloneStillCountUrlHits) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/a") + Line("h", "01/Jan/2024:10:00:01", "/b", 404));
  settings_.badUrls.show = 1;
  std::string page = Run();
  EXPECT_EQ(Results().urlHits, 2);
  EXPECT_FALSE(Has(page, "Top URLs Requested"));
  EXPECT_TRUE(Has(page, "<td align=center>1</td><td align=center>50.00%</td>"));
}

TEST_F(PassTest, BrowserFamiliesAreCountedFromTheAgent) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/", 200, 1, "", "Mozilla/4.0 (compatible; MSIE 5.0)") +
      Line("h", "01/Jan/2024:10:00:01", "/", 200, 1, "", "Mozilla/4.7 [en] (X11)") +
      Line("h", "01/Jan/2024:10:00:02", "/", 200, 1, "", "Mozilla/3.0 MSIE-ish") +
      Line("h", "01/Jan/2024:10:00:03", "/", 200, 1, "", "Lynx/2.8") +
      Line("h", "01/Jan/2024:10:00:04", "/", 200, 1));
  settings_.browsers.show = 1;
  std::string page = Run();
  EXPECT_EQ(MsieCount, 2);  // "MSIE" anywhere, with case
  EXPECT_EQ(NavCount, 2);   // "Mozilla/" without "ompatible"
  EXPECT_EQ(Results().browserHits, 4);  // the hit without agent is not a browser hit
  EXPECT_EQ(gHits_Browsers, 4);
  EXPECT_TRUE(Has(page, "<b>4</b> distinct browsers were found."));
}

TEST_F(PassTest, UrlsLoseTheirQueryAndMergeIgnoringCase) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/Index.html?x=1") +
      Line("h", "01/Jan/2024:10:00:01", "/index.html"));
  settings_.requests.show = 1;
  std::string page = Run();
  EXPECT_TRUE(Has(page, "<tr><td align=center>2</td><td align=center>100.00%</td>"
                        "<td><a href=\"http://www.example.org/Index.html\""));

  settings_.findCaseSensitive = 1;
  page = Run();
  EXPECT_TRUE(Has(page, "<b>2</b> distinct URLs were found."));
}

TEST_F(PassTest, ReferrersAndSearchPhrases) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/", 200, 1,
           "http://www.google.com/search?hl=en&q=web+logs") +
      Line("h", "01/Jan/2024:10:00:01", "/", 200, 1, "http://spam.example/search?q=pills") +
      Line("h", "01/Jan/2024:10:00:02", "/", 200, 1, "http://friend.example/links.html"));
  settings_.referrers.show = settings_.search.show = 1;
  settings_.filterReferrers = 1;
  settings_.filterDomains.set("spam.example");
  std::string page = Run();
  EXPECT_EQ(Results().searchHits, 1);
  EXPECT_EQ(Results().referralHits, 2);
  EXPECT_TRUE(Has(page, "<td>web logs</td>"));
  EXPECT_FALSE(Has(page, "pills"));
  EXPECT_TRUE(Has(page, ">http://friend.example/links.html</a>"));
}

TEST_F(PassTest, SearchPhrasesCountWhateverTheFileType) {
  Log(Line("h", "01/Jan/2024:10:00:00", "/x.gif", 200, 1, "http://www.google.com/search?q=gif"));
  settings_.search.show = settings_.referrers.show = 1;
  settings_.filterFileTypes.set("gif");
  Run();
  EXPECT_EQ(Results().searchHits, 1);
  EXPECT_EQ(Results().referralHits, 0);
  EXPECT_EQ(TotalHits(), 0);
}

TEST_F(PassTest, RealmAndUserRestrictTheHits) {
  Log("1.1.1.1 staff ann [01/Jan/2024:10:00:00 +0000] \"GET / HTTP/1.0\" 200 1\n"
      "1.1.1.1 staff bob [01/Jan/2024:10:00:01 +0000] \"GET / HTTP/1.0\" 200 1\n"
      "1.1.1.1 - ann [01/Jan/2024:10:00:02 +0000] \"GET / HTTP/1.0\" 200 1\n");
  settings_.authRealm.set("STAFF");
  Run();
  EXPECT_EQ(TotalHits(), 2);
  settings_.authUser.set("Ann");
  Run();
  EXPECT_EQ(TotalHits(), 1);
}

TEST_F(PassTest, LookupsForTheDomainListsOnlyWithANumericFilter) {
  names_.names["10.0.0.1"] = "ws1.dept.example.com";
  Log(Line("10.0.0.1", "01/Jan/2024:10:00:00", "/") + Line("10.0.0.1", "01/Jan/2024:10:00:01", "/") +
      Line("10.0.0.2", "01/Jan/2024:10:00:02", "/"));
  settings_.dnsLookupEnabled = 1;
  settings_.domains.show = settings_.domainTypes.show = 1;
  std::string page = Run();
  EXPECT_EQ(names_.questions, 2);  // the second hit of 10.0.0.1 comes from the cache
  EXPECT_TRUE(Has(page, "<td>dept.example.com</td>"));
  EXPECT_TRUE(Has(page, "<td>10.0.0</td>"));
  EXPECT_TRUE(Has(page, "<td>UNKNOWN</td>"));

  // Without a domain section there is nothing to resolve for.
  names_.questions = 0;
  settings_.domains.show = settings_.domainTypes.show = 0;
  settings_.requests.show = 1;
  Run();
  EXPECT_EQ(names_.questions, 0);
}

TEST_F(PassTest, NamedHostFilterResolvesEveryHitAndDropsExcludedNames) {
  names_.names["10.0.0.1"] = "ws1.blocked.example";
  names_.names["10.0.0.2"] = "ws2.fine.example";
  Log(Line("10.0.0.1", "01/Jan/2024:10:00:00", "/gone", 404) +
      Line("10.0.0.2", "01/Jan/2024:10:00:01", "/") +
      Line("10.0.0.3", "01/Jan/2024:10:00:02", "/"));
  settings_.dnsLookupEnabled = 1;
  settings_.filterDomains.set("blocked.example");
  settings_.badUrls.show = 1;
  settings_.requests.show = 1;
  std::string page = Run();
  EXPECT_EQ(TotalHits(), 2);
  EXPECT_EQ(names_.questions, 3);
  EXPECT_FALSE(Has(page, "/gone"));  // a dropped hit is not even a bad URL
}

TEST_F(PassTest, FlushToServerSendsABlankEveryThousandLines) {
  std::string lines;
  for (int i = 0; i < 2500; ++i) lines += Line("h", "01/Jan/2024:10:00:00", "/");
  Log(lines);
  settings_.flushToServer = 1;
  std::string page = Run();
  EXPECT_EQ(page.rfind("  \n\n<center><table", 0), 0u) << page.substr(0, 40);
}

TEST_F(PassTest, OverlongTextsAreCutSafely) {
  std::string url = "/" + std::string(600, 'u');
  std::string agent(600, 'a');
  std::string referrer = "http://www.google.com/search?q=" + std::string(600, 'q');
  Log(Line("h", "01/Jan/2024:10:00:00", url, 404, 1, referrer, agent));
  settings_.requests.show = settings_.badUrls.show = settings_.referrers.show = 1;
  settings_.search.show = settings_.browsers.show = settings_.badUrlReferrers = 1;
  Run();
  EXPECT_EQ(TotalHits(), 1);
}

using PassDeathTest = PassTest;

TEST_F(PassDeathTest, NoLogFilesAtAllIsErrorEleven) {
  SetPath(&settings_.logs, dir_.file("missing-*.log"));
  EXPECT_EXIT(
      {
        if (freopen("/dev/null", "w", stdout)) do_bigass_analysis(&settings_, &env_);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace

// Counting rules of the visitor, visit and page sections, checked through
// the whole analysis pass over small logs.
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/audience.h"
#include "analysis/list.h"
#include "analysis/pass_results.h"
#include "analysis/text_ids.h"
#include "support/fixtures.h"

namespace {

struct Hit {
  const char* host;
  int second;  // since 1 Jan 2024 00:00 UTC
  const char* url;
  const char* agent;  // "-" for none
};

constexpr const char* kFirefox = "Mozilla/5.0 (X11; Linux x86_64; rv:123.0) Gecko/20100101 Firefox/123.0";
constexpr const char* kChrome = "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/122.0.0.0";
constexpr const char* kBot = "Googlebot/2.1 (+http://www.google.com/bot.html)";

class Audience : public SettingsTest {
 protected:
  // Runs the pass over a log of the hits with visitors, pages and (when
  // asked) robots on; keeps the totals, the first two days and the summed
  // length of the visits.
  void Count(const std::vector<Hit>& hits, bool robots = false, bool smallMemory = false) {
    testing_support::TempDir dir;
    std::string log;
    char line[512];
    for (const Hit& h : hits) {
      const int rest = h.second % 86400;
      snprintf(line, sizeof line, "%s - - [%02d/Jan/2024:%02d:%02d:%02d +0000] \"GET %s HTTP/1.0\" 200 10 \"-\" \"%s\"\n",
               h.host, h.second / 86400 + 1, rest / 3600, rest / 60 % 60, rest % 60, h.url, h.agent);
      log += line;
    }
    testing_support::WriteFile(dir.file("access.log"), log);
    // Once as asked, once with domains on, so that the pass also keeps its
    // memo of recent hosts (browser-text numbers, visitors' slots): both
    // must count alike.  Under a memory ceiling the domains list would take
    // its share of memory, so there the second run could differ.
    for (bool domains : {false, true}) {
      if (domains && smallMemory) break;
      Reset();
      AnalysisResetForTesting();
      settings.find.set("/"), settings.subdirs = 1;
      settings.dateStart.set("01012024"), settings.dateEnd.set("01022024");
      settings.logs.set(dir.file("*.log").c_str());
      settings.visitors.show = settings.pages.show = 1, settings.robots.show = robots;
      settings.domains.show = domains;
      if (smallMemory) {  // room for 2000 nodes; a reclamation frees 400
        settings.smartMemoryEnabled = 1, settings.smartMemoryMaxMemory = 500;
        settings.smartMemoryKeepEntries = 10, settings.smartMemoryReclaimSize = 100;
      }
      PassResults* r = RunAnalysisPass(&settings);
      ASSERT_NE(r, nullptr);
      std::map<std::string, int32_t> views, ends;
      for (ListItem* node = SortList(r->pages); node; node = node->next) views[node->item] = node->count;
      for (ListItem* node = SortList(r->exitPages); node; node = node->next) ends[node->item] = node->count;
      const auto figures = std::make_tuple(r->visitTotals.visitors, r->visitTotals.visits, r->visitTotals.pages,
                                           r->visitDays[0].visits, r->visitDays[1].visitors, r->visitSeconds);
      if (domains) {
        EXPECT_EQ(views, pageViews);
        EXPECT_EQ(ends, exits);
        EXPECT_EQ(figures, std::make_tuple(totals.visitors, totals.visits, totals.pages, day0.visits, day1.visitors, seconds));
      } else {
        pageViews = views, exits = ends;
        totals = r->visitTotals, day0 = r->visitDays[0], day1 = r->visitDays[1], seconds = r->visitSeconds;
      }
      FreeAnalysisPass();
    }
  }
  PassResults::VisitFigures totals{}, day0{}, day1{};
  std::map<std::string, int32_t> pageViews, exits;
  double seconds = 0;
};

// One host and browser; a visit is counted on the day it starts, its
// visitor on each day seen.
TEST_F(Audience, APauseOfExactlyThirtyMinutesKeepsTheVisit) {
  const struct {
    std::vector<int> seconds;
    int32_t visits;
    double length;  // summed visit lengths
  } cases[] = {
      {{0}, 1, 0}, {{0, 1800}, 1, 1800}, {{0, 1801}, 2, 0}, {{0, 1000, 2800, 4600}, 1, 4600},  // short steps add up
      {{0, 60, 3661}, 2, 60}, {{86400 - 600, 86400 + 600}, 1, 1200},  // over midnight
  };
  for (const auto& c : cases) {
    std::vector<Hit> hits;
    for (int s : c.seconds) hits.push_back({"10.0.0.1", s, "/", kFirefox});
    Count(hits);
    EXPECT_EQ((std::vector<double>{double(totals.visitors), double(totals.visits), seconds, double(day0.visits), double(day1.visitors)}),
              (std::vector<double>{1, double(c.visits), c.length, double(c.visits), c.seconds.back() > 86400 ? 1.0 : 0.0})) << c.seconds.back();
  }
}

// 5,000 addresses, each seen twice in one visit: more visitors than the table's first 4,096 slots hold.
std::vector<Hit> ManyHosts() {
  static std::vector<std::string> names;
  for (int i = names.size(); i < 5000; ++i) names.push_back("10.9." + std::to_string(i / 250) + "." + std::to_string(i % 250));
  std::vector<Hit> hits;
  for (int i = 0; i < 10000; ++i) hits.push_back({names[i % 5000].c_str(), i / 10, "/", kFirefox});
  return hits;
}

// One host comes back after every two of 4,000 new ones: its visitor's slot,
// known from the pass's memo of recent hosts, moves when the table grows.
std::vector<Hit> AHostReturnsAsTheTableGrows() {
  static std::vector<std::string> names;
  for (int i = names.size(); i < 4000; ++i) names.push_back("10.8." + std::to_string(i / 250) + "." + std::to_string(i % 250));
  std::vector<Hit> hits;
  for (int i = 0, n = 0; n < 4000; ++i)
    hits.push_back({i % 3 == 2 ? "10.7.0.1" : names[n++].c_str(), i / 10, i % 3 == 2 ? "/back" : "/new", kFirefox});
  return hits;
}

// Two short host names whose hashes collide (a birthday search), each seen twice.
std::vector<Hit> HostsSharingAHash() {
  static std::string a, b;
  std::unordered_map<uint32_t, std::string> seen;
  for (uint32_t i = 0; b.empty(); ++i) {
    const std::string name = "h" + std::to_string(10000000 + i) + ".example";
    const auto [at, fresh] = seen.emplace(TextHash(name.data(), name.size()), name);
    if (!fresh) a = at->second, b = name;
  }
  return {{a.c_str(), 0, "/", kFirefox}, {b.c_str(), 1, "/", kFirefox}, {a.c_str(), 2, "/", kFirefox}, {b.c_str(), 3, "/", kFirefox}};
}

// Two hosts that share an entry of the pass's memo of recent hosts (it has
// 1,024, chosen by the host's hash): the second takes the entry over while
// the first hit is still being counted.
std::vector<Hit> HostsSharingAMemoEntry() {
  static std::string a, b;
  std::unordered_map<uint32_t, std::string> seen;
  for (uint32_t i = 0; b.empty(); ++i) {
    const std::string name = "m" + std::to_string(1000 + i) + ".example";
    const auto [at, fresh] = seen.emplace(TextHash(name.data(), name.size()) % 1024, name);
    if (!fresh) a = at->second, b = name;
  }
  return {{a.c_str(), 0, "/", kFirefox}, {b.c_str(), 10, "/", kFirefox}, {b.c_str(), 20, "/", kFirefox}};
}

TEST_F(Audience, AVisitorIsOneHostWithOneBrowserText) {
  const std::string com = "a-long-host-name-beyond-twenty.example.com", org = com.substr(0, com.size() - 3) + "org";
  const struct {
    std::vector<Hit> hits;
    int32_t visitors;
    bool robots;  // robots kept apart
  } cases[] = {
      {{{"10.0.0.1", 0, "/", kFirefox}, {"10.0.0.1", 5, "/", kFirefox}}, 1, false},
      {{{"10.0.0.1", 0, "/", kFirefox}, {"10.0.0.1", 5, "/", kChrome}}, 2, false},  // two browsers
      {{{"10.0.0.1", 0, "/", "-"}, {"10.0.0.1", 5, "/", kFirefox}}, 2, false},     // no browser text is a text
      {{{"10.0.0.1", 0, "/", kFirefox}, {"10.0.0.01", 5, "/", kFirefox}, {"10.0.0.1", 7, "/", kFirefox}}, 2, false},
      {{{"10.0.0.0", 0, "/", kFirefox}, {"10.0.0.256", 5, "/", kFirefox}, {"10.0.0.1", 7, "/", kFirefox},
        {"10.0.0.1a", 9, "/", kFirefox}}, 4, false},  // not addresses: never taken for one
      {{{"a.example.com", 0, "/", kFirefox}, {"a.example.co", 5, "/", kFirefox}, {com.c_str(), 9, "/", kFirefox},
        {org.c_str(), 9, "/", kFirefox}, {com.c_str(), 12, "/", kFirefox}}, 4, false},  // long hosts met again
      {{{"10.0.0.1", 0, "/", kFirefox}, {"66.249.66.1", 5, "/", kBot}}, 1, true},
      {{{"10.0.0.1", 0, "/", kFirefox}, {"66.249.66.1", 5, "/", kBot}}, 2, false},
      {ManyHosts(), 5000, false},
      {AHostReturnsAsTheTableGrows(), 4001, false},
      {HostsSharingAHash(), 2, false},
      {HostsSharingAMemoEntry(), 2, false},
  };
  for (const auto& c : cases) {
    Count(c.hits, c.robots);
    EXPECT_EQ(std::make_pair(totals.visitors, totals.visits), std::make_pair(c.visitors, c.visitors)) << c.hits.back().host << c.robots;
    // One visit each: together they last as long as each visitor's hits span.
    std::map<std::string, std::pair<int, int>> spans;
    for (const Hit& h : c.hits) {
      if (c.robots && h.agent == kBot) continue;
      auto [at, fresh] = spans.emplace(std::string(h.host) + '\n' + h.agent, std::make_pair(h.second, h.second));
      at->second = {std::min(at->second.first, h.second), std::max(at->second.second, h.second)};
    }
    double spanned = 0;
    for (const auto& [visitor, span] : spans) spanned += span.second - span.first;
    EXPECT_EQ(seconds, spanned) << c.hits.back().host;
  }
}

// The pass counts page views by the same rule, and every hit as a hit.
TEST_F(Audience, APageEndsInASlashHasNoExtensionOrAPageExtension) {
  const std::pair<const char*, bool> cases[] = {
      {"/", true}, {"/docs/", true}, {"/about", true}, {"/INDEX.HTM", true}, {"/a.shtml", true}, {"/search.php?q=logo.png", true},
      {"/default.aspx", true}, {"/app.jsp", true}, {"/form.cgi", true}, {"/tool.PL", true}, {"/old.ASP", true}, {"/v1.2/notes", true},
      {"/img/logo.png", false}, {"/app.js", false}, {"/file.tar.gz", false}, {"/page.html.bak", false}, {"/favicon.ico?v=2", false}, {"/notes.markdown", false},
  };
  std::vector<Hit> hits;
  int pages = 0;
  for (const auto& [url, page] : cases) {
    EXPECT_EQ(IsPageUrl(url), page) << url;
    hits.push_back({"10.0.0.1", static_cast<int>(hits.size()), url, kFirefox});
    pages += page;
  }
  Count(hits);
  EXPECT_EQ(totals.pages, pages);
  EXPECT_EQ(totals.hits, static_cast<int32_t>(hits.size()));
}

// Smart memory frees the least-viewed pages by their full counts, and a
// page it freed counts afresh when viewed again.
TEST_F(Audience, SmartMemoryChoosesPagesByTheirWholeCounts) {
  std::vector<Hit> hits = {{"10.0.0.1", 0, "/a", kFirefox}, {"10.0.0.1", 1, "/a", kFirefox},
                           {"10.0.0.1", 2, "/a", kFirefox}, {"10.0.0.1", 3, "/b", kFirefox}};
  std::vector<std::string> once(2100);
  for (size_t i = 0; i < once.size(); ++i) {
    once[i] = "/p" + std::to_string(i);
    hits.push_back({"10.0.0.1", static_cast<int>(4 + i), once[i].c_str(), kFirefox});
  }
  hits.push_back({"10.0.0.1", 3000, "/b", kFirefox});
  Count(hits, false, true);
  EXPECT_LT(pageViews.size(), once.size());
  EXPECT_EQ(pageViews["/a"], 3);
  EXPECT_EQ(pageViews["/b"], 1);
}

// Browsers come out the same whether or not the newer sections number the
// browser texts (and count Browsers through them), also while smart memory
// reclaims Browsers nodes: visitors add no list, so memory runs alike.
TEST_F(Audience, BrowsersCountAlikeWhenBrowserTextsAreNumbered) {
  testing_support::TempDir dir;
  std::string log;
  char line[512];
  for (int i = 0; i < 9000; ++i) {
    // A few hosts keep their browser and one switches between two; every
    // two hits in three bring a browser text never seen before; one host's
    // rare text comes back after smart memory has freed its node.  Texts
    // seen once sort last, so that a node whose counts were held back but
    // never reached it would look rare and be freed first.
    std::string host = "10.0.0." + std::to_string(i % 7), agent = i % 5 ? kFirefox : kBot;
    if ((i > 3000 && i < 8000 && i % 1500 == 1000) || i >= 8990) host = "10.0.0.9", agent = "Aa/rare";
    else if (i % 3) host = "10.1.0." + std::to_string(i % 200), agent = "Zz/" + std::to_string(i);
    else if (i % 7 == 0) agent = i % 2 ? kChrome : kFirefox;
    snprintf(line, sizeof line, "%s - - [01/Jan/2024:%02d:%02d:%02d +0000] \"GET /p%d HTTP/1.0\" 200 10 \"-\" \"%s\"\n",
             host.c_str(), i / 3600, i / 60 % 60, i % 60, i % 50, agent.c_str());
    log += line;
  }
  testing_support::WriteFile(dir.file("access.log"), log);
  const auto browsers = [&](bool numbered) {
    Reset();
    AnalysisResetForTesting();
    settings.find.set("/"), settings.subdirs = 1;
    settings.dateStart.set("01012024"), settings.dateEnd.set("01022024");
    settings.logs.set(dir.file("*.log").c_str());
    settings.browsers.show = settings.domains.show = 1;
    settings.visitors.show = numbered;
    settings.smartMemoryEnabled = 1, settings.smartMemoryMaxMemory = 500;
    settings.smartMemoryKeepEntries = 10, settings.smartMemoryReclaimSize = 100;
    PassResults* r = RunAnalysisPass(&settings);
    std::vector<std::pair<std::string, int32_t>> rows;
    for (ListItem* node = SortList(r->browsers); node; node = node->next) rows.emplace_back(node->item, node->count);
    rows.emplace_back("hits", r->browserHits);
    FreeAnalysisPass();
    return rows;
  };
  const auto plain = browsers(false);
  EXPECT_LT(plain.size(), 2000u);  // reclaimed
  EXPECT_EQ(std::count(plain.begin(), plain.end(), std::make_pair(std::string("Aa/rare"), 10)), 1);
  EXPECT_EQ(browsers(true), plain);
}

}  // namespace

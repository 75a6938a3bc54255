// Search-engine phrase extraction and the per-engine phrase tables.
//
// The engine is recognised from the referrer's scheme-and-host part by a
// fixed table of host fragments, tested in order with plain substring
// searches; the phrase is the engine's query parameter, decoded in place.
// Nothing here allocates.  The module has no mutable state.
#include "analysis/search_phrases.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "analysis/list.h"
#include "base/fixed_text.h"
#include "cgi/cgi.h"
#include "settings/stats_fields.h"

namespace {

constexpr size_t kWorkSize = 244;  // 243 characters and the terminator

// List indexes, in list order.
enum EngineList {
  kAltaVista, kAskJeeves, kDirectHit, kDogPile, kExcite, kGoogle, kGoTo, kHotBot,
  kInferenceFind, kInfoSeek, kLookSmart, kLycos, kMagellan, kMetaCrawler, kMicrosoft,
  kMozilla, kMSN, kNetFind, kNetGuide, kNetscape, kNorthernLight, kPlanetSearch,
  kRealNames, kSavvySearch, kSearchCom, kSnap, kSwitchboard, kTelia, kThunderstone,
  kWebCrawler, kYahoo,
};

struct EngineRule {
  const char* hostFragment;    // lower case, matched case-sensitively
  const char* parameters[3];   // tried in order; unused slots null
  EngineList list;
};

// A fragment that contains another row's fragment stands before it, so the
// first matching row is the most specific one.
constexpr EngineRule kEngineRules[] = {
    {"altavista.com", {"q"}, kAltaVista},
    {"ask.com", {"ask"}, kAskJeeves},
    {"askjeeves.com", {"ask"}, kAskJeeves},
    {"directhit.com", {"qry"}, kDirectHit},
    {"dogpile.com", {"q"}, kDogPile},
    {"mckinley.com", {"search", "query"}, kMagellan},
    {"magellan.excite.com", {"search", "query"}, kMagellan},
    {"excite.com", {"search"}, kExcite},
    {"google.com", {"q"}, kGoogle},
    {"goto.com", {"Keywords"}, kGoTo},
    {"hotbot.com", {"MT"}, kHotBot},
    {"infind.com", {"query"}, kInferenceFind},
    {"infoseek.com", {"qt"}, kInfoSeek},
    {".go.com", {"qt"}, kInfoSeek},
    {"looksmart.com", {"key"}, kLookSmart},
    {"lycos.com", {"query"}, kLycos},
    {"metacrawler.com", {"general"}, kMetaCrawler},
    {".go2net.com", {"general"}, kMetaCrawler},
    {"microsoft.com", {"SearchString"}, kMicrosoft},
    {"dmoz.org", {"search"}, kMozilla},
    {"directory.mozilla.org", {"search"}, kMozilla},
    {"msn.com", {"MT"}, kMSN},
    {"netfind.aol.com", {"search"}, kNetFind},
    {"netguide.com", {"query", "Search.Query", "AVSearchApp.Query"}, kNetGuide},
    {"netscape.com", {"search"}, kNetscape},
    {"northernlight.com", {"qr"}, kNorthernLight},
    {"planetsearch.com", {"text"}, kPlanetSearch},
    {"realnames.com", {"realname"}, kRealNames},
    {"savvysearch.com", {"q", "KW"}, kSavvySearch},
    {"guaraldi.cs.colostate.edu", {"KW"}, kSavvySearch},
    {"search.com", {"QUERY"}, kSearchCom},
    {".cnet.com", {"QUERY"}, kSearchCom},
    {"snap.com", {"keyword", "KW"}, kSnap},
    {"switchboard.com", {"SEARCHSTRING"}, kSwitchboard},
    {"altavista.telia.com", {"q"}, kTelia},
    {"thunderstone.com", {"q", "arg"}, kThunderstone},
    {"webcrawler.com", {"searchText", "text"}, kWebCrawler},
    {"yahoo.com", {"p"}, kYahoo},
};
static_assert(sizeof kEngineRules / sizeof kEngineRules[0] == 38);

// The row whose fragment occurs in hostPart first, or null.
const EngineRule* FindEngine(const char* hostPart) {
  for (const EngineRule& rule : kEngineRules)
    if (strstr(hostPart, rule.hostFragment)) return &rule;
  return nullptr;
}

// FindEngine's answers for the host parts seen last: a referrer's host part
// recurs on line after line, and the answer depends on nothing else, so each
// distinct host part is tested against the rows about once.
struct EngineMemo {
  char hostPart[56];  // empty = unused
  const EngineRule* rule;
};
constexpr size_t kEngineMemoSize = 256;  // a power of two
EngineMemo mEngineMemo[kEngineMemoSize];

const EngineRule* FindEngineRemembered(const char* hostPart) {
  size_t len = strlen(hostPart);
  if (len == 0 || len >= sizeof mEngineMemo[0].hostPart) return FindEngine(hostPart);
  uint32_t h = 2166136261u;  // FNV-1a
  for (size_t i = 0; i < len; ++i) h = (h ^ static_cast<unsigned char>(hostPart[i])) * 16777619u;
  EngineMemo& memo = mEngineMemo[h & (kEngineMemoSize - 1)];
  if (memcmp(memo.hostPart, hostPart, len + 1) != 0) {
    memcpy(memo.hostPart, hostPart, len + 1);
    memo.rule = FindEngine(hostPart);
  }
  return memo.rule;
}

// The third "/" of text, or null.
char* ThirdSlash(char* text) {
  char* p = text;
  for (int i = 0; i < 3; ++i) {
    p = strchr(p, '/');
    if (!p) return nullptr;
    if (i < 2) ++p;
  }
  return p;
}

}  // namespace

const char* const kSearchListTitles[kSearchEngineCount] = {
    "AltaVista Search Phrases",     "Ask Jeeves Search Phrases",   "Direct Hit Search Phrases",
    "DogPile Search Phrases",       "Excite Search Phrases",       "Google Search Phrases",
    "GoTo Search Phrases",          "HotBot Search Phrases",       "Inference Find Search Phrases",
    "InfoSeek Search Phrases",      "LookSmart Search Phrases",    "Lycos Search Phrases",
    "Magellan Search Phrases",      "MetaCrawler Search Phrases",  "Microsoft Search Phrases",
    "Mozilla Search Phrases",       "MSN Search Phrases",          "NetFind Search Phrases",
    "NetGuide Search Phrases",      "Netscape Search Phrases",     "NorthernLight Search Phrases",
    "PlanetSearch Search Phrases",  "RealNames Search Phrases",    "SavvySearch Search Phrases",
    "SearchCom Search Phrases",     "Snap Search Phrases",         "Switchboard Search Phrases",
    "Telia Search Phrases",         "Thunderstone Search Phrases", "WebCrawler Search Phrases",
    "Yahoo Search Phrases",
};

const SearchDisplay kSearchDisplay[kSearchEngineCount] = {
    {kAltaVista, "AltaVista", "www.altavista.com"},
    {kTelia, "AltaVista International", "altavista.telia.com"},
    {kNetFind, "AOL NetFind", "netfind.aol.com"},
    {kAskJeeves, "Ask Jeeves", "www.askjeeves.com"},
    {kDirectHit, "Direct Hit", "www.directhit.com"},
    {kDogPile, "DogPile", "www.dogpile.com"},
    {kExcite, "Excite", "www.excite.com"},
    {kGoogle, "Google", "www.google.com"},
    {kGoTo, "GoTo", "www.goto.com"},
    {kHotBot, "HotBot", "www.hotbot.com"},
    {kInferenceFind, "InferenceFind", "www.infind.com"},
    {kInfoSeek, "InfoSeek", "infoseek.go.com"},
    {kLookSmart, "LookSmart", "www.looksmart.com"},
    {kLycos, "Lycos", "www.lycos.com"},
    {kMagellan, "Magellan", "magellan.excite.com"},
    {kMetaCrawler, "MetaCrawler", "www.go2net.com"},
    {kMicrosoft, "Microsoft", "search.microsoft.com"},
    {kMSN, "MSN", "search.msn.com"},
    {kNetGuide, "NetGuide", "www.netguide.com"},
    {kNetscape, "Netscape", "search.netscape.com"},
    {kNorthernLight, "Northern Light", "www.northernlight.com"},
    {kMozilla, "Open Directory Project", "dmoz.org"},
    {kPlanetSearch, "PlanetSearch", "www.planetsearch.com"},
    {kRealNames, "RealNames", "www.realnames.com"},
    {kSavvySearch, "SavvySearch", "www.savvysearch.com"},
    {kSearchCom, "Search.Com", "www.search.com"},
    {kSnap, "Snap", "www.snap.com"},
    {kSwitchboard, "Switchboard", "www.switchboard.com"},
    {kThunderstone, "Thunderstone", "search.thunderstone.com"},
    {kWebCrawler, "WebCrawler", "www.webcrawler.com"},
    {kYahoo, "Yahoo!", "search.yahoo.com"},
};

// The phrase ends up at the start of work; the query text it came from is
// the part of work behind the cut host part, so parseQuery overwrites only
// that part and a failed parameter leaves it intact for the next one.
int ExtractSearchPhrase(const char* referrer, char* work) {
  ll::CopyText(work, kWorkSize, referrer, strnlen(referrer, kWorkSize - 1));
  char* cut = ThirdSlash(work);
  if (!cut) return -1;
  *cut = 0;
  const EngineRule* rule = FindEngineRemembered(work);
  if (!rule) return -1;
  char* query = cut + 1;
  for (const char* name : rule->parameters) {
    if (!name) break;
    if (parseQuery(query, name)) {
      memmove(work, query, strlen(query) + 1);
      return rule->list;
    }
  }
  return -1;
}

// Names are collected into a 244-byte buffer; a longer name is compared by
// its first 243 characters.  The value overwrites text from its start, so it
// never needs more room than text has; it is cut at 243 characters.
int parseQuery(char* text, const char* name) {
  const char* q = strchr(text, '?');
  if (!q || q[1] == 0) return 0;
  char collected[kWorkSize];
  size_t len = 0;
  for (const char* p = q + 1; *p; ++p) {
    if (*p != '=') {
      if (len < kWorkSize - 1) collected[len++] = *p;
      continue;
    }
    collected[len] = 0;
    if (strcasecmp(collected, name) == 0) {
      const char* value = p + 1;
      size_t valueLen = strcspn(value, "&");
      if (valueLen > kWorkSize - 1) valueLen = kWorkSize - 1;
      memmove(text, value, valueLen);
      text[valueLen] = 0;
      decode(text);
      return 1;
    }
    const char* amp = strchr(p, '&');
    if (!amp) return 0;
    p = amp;  // the loop steps past the "&"
    len = 0;
  }
  return 0;
}

void display_keywords(const StatsFields* settings, ItemList* list, int length, int displayIndex,
                      int searchHits) {
  if (length == 0 || !list || displayIndex < 0 || displayIndex >= kSearchEngineCount) return;
  ListItem* head = SortList(list);
  if (!head) return;
  const SearchDisplay& engine = kSearchDisplay[displayIndex];
  double share = searchHits ? static_cast<double>(TotalList(list)) * 100.0 / searchHits : 0.0;
  printf("<tr>\n<td colspan=2 align=\"left\" bgcolor=\"#40C080\">&nbsp;<i>Results from <a href=\"http://");
  printf("%s\" target=\"_blank\">%s</a>:", engine.href, engine.name);
  printf(" (%0.0f%% of known searches)</i></td>\n</tr>\n", share);
  int32_t top = settings->search.top;
  int32_t greater = settings->search.greater;
  long row = 1;
  for (ListItem* node = head; node; node = node->next, ++row) {
    if (node->count < greater) break;
    if (top != 0 && row > top) break;
    printf("<tr>\n<td align=\"center\">%ld</td>\n<td>%s</td>\n</tr>\n", static_cast<long>(node->count),
           node->item);
  }
}

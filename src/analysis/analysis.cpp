// The analysis pass: one run over every log line of the report range.
//
// Performance notes.  The reading loop is the program's hot path: each hit
// is tested by the cheap filters first (range, realm, user, host, find), in
// the order that drops most hits soonest; filters whose setting is empty
// are not called at all (they would keep every hit).  Per hit the pass
// copies at most a few short texts into fixed 244-byte work buffers and
// allocates nothing itself; the only allocations are new list nodes (made
// by the item lists) and reverse lookups when DNS lookups are on.  Output
// starts only after the loop, except the keep-alive blanks of flushtoserver.
// Counting in the big lists (URLs, referrers, domains) is bound by cache
// misses on their tables and nodes, so a hit's keys for them are made first
// and their memory requested before the other work of the hit (HitKeys);
// without host lookups each hit is counted only after the next one is read
// and keyed, so that the fetches overlap the reading (ReadLogCountingLate).
#include "analysis/analysis.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "analysis/agents.h"
#include "analysis/audience.h"
#include "analysis/dns_cache.h"
#include "analysis/filters.h"
#include "analysis/held_counts.h"
#include "analysis/list.h"
#include "analysis/pass_results.h"
#include "analysis/search_phrases.h"
#include "analysis/smart_memory.h"
#include "analysis/text_ids.h"
#include "analysis/wildmat.h"
#include "base/fixed_text.h"
#include "base/globals.h"
#include "base/pass_writer.h"
#include "base/time32.h"
#include "settings/check_params.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace {

// The pass's lists, in the order they enter the list catalogue.  The order
// decides which list smart memory cuts first on a tie, and the order of
// the names in the header's memory warning.
enum ListIndex {
  kUrlsList,
  kReferrersList,
  kBrowsersList,
  kBadUrlsList,
  kBadReferrersList,
  kDomainsList,
  kDomainTypesList,
  kFirstSearchList,
  kListCount = kFirstSearchList + kSearchEngineCount,
};

constexpr const char* kMainListTitles[kFirstSearchList] = {
    "Top URLs", "Top Referrers", "Browsers", "Bad URLs", "Bad Referrers", "Domains", "Domain Types",
};

constexpr size_t kWorkSize = 244;  // 243 characters and the terminator

// How client addresses are turned into names (dnslookupenabled).
enum LookupMode {
  kNoLookup = 0,
  kLookupEveryHit = 1,     // the host filter names hosts: resolve before filtering
  kLookupForDomains = 2,   // the host filter is numeric: resolve only for the domain lists
};

// The browser tests of one distinct agent, remembered by its node in the
// Browsers list so that they run once per agent rather than once per hit.
struct AgentFlags {
  const ListItem* node = nullptr;
  bool msie = false;
  bool netscape = false;
};
constexpr size_t kAgentMemoSize = 512;

// The Browsers node and browser tests of one browser text, by its number,
// when the newer sections number browser texts: a hit of a known text is
// then held for the node (HeldCounts) instead of being compared with the
// node's text and counted there.
struct AgentBrowser {
  NodeMemo memo;
  AgentFlags flags;
};

// A node of a list remembered with its text's length and the list's
// reclaimed count at the time (while that count stays, the node is there).
struct Remembered {
  ListItem* node = nullptr;
  uint32_t length = 0;
  int32_t reclaimed = 0;
};

// The domain and domain type of one recent host, with their keys, so that a
// host's later hits (a visit's hits come minutes apart) skip the cutting
// and the two hashes.  Hosts, domains and types too long for an entry are
// cut afresh on every hit.
constexpr size_t kMemoTextSize = 48;
struct HostMemo {
  uint32_t hostHash = 0;  // 0: an empty entry (no key hash is 0)
  uint32_t hostLength = 0;
  ItemKey domain{};       // text null: the domain is not counted
  ItemKey type{};         // text null: the type is not counted
  bool ipv6 = false;
  // The nodes that the host's agent, domain and type were last counted in;
  // checked against the hit's texts before use, as the entry may have passed
  // to another host meanwhile.
  Remembered browser;
  Remembered domainNode;
  Remembered typeNode;
  // The number (AgentId) of the host's last browser text, plus one; 0 for
  // none yet.  Checked against the hit's text before use.
  uint32_t agentIdPlusOne = 0;
  VisitorMemo visitor;  // for the newer sections
  char host[kMemoTextSize];
  char domainText[kMemoTextSize];
  char typeText[kMemoTextSize];
};
constexpr size_t kHostMemoSize = 1024;

// The memo of a numbered browser text's Browsers node, and the Browsers
// list (for the held counts).
NodeMemo& BrowserMemo(uint8_t list, uint32_t id);
ItemList** BrowsersList(uint8_t list);

struct AnalysisState {
  PassResults results;
  ListInfo* info[kListCount] = {};
  size_t findLength = 0;
  bool findIsPrefix = false;  // find is a plain prefix test of the URL itself
  bool anySectionCounts = false;
  bool audience = false;  // a section named by keyword is on
  bool audienceAgents = false;  // one of them needs each hit's browser-text number
  bool hostFilterOn = false;
  bool fileTypeFilterOn = false;
  int lookupMode = kNoLookup;
  char urlWork[kWorkSize] = {};
  char fileTypeWork[kWorkSize] = {};
  char referrerWork[kWorkSize] = {};
  char hostWork[kWorkSize] = {};
  AgentFlags agentMemo[kAgentMemoSize] = {};  // by the node's address
  int32_t agentMemoReclaimed = 0;  // the Browsers list's reclaimed nodes when the memo was valid
  std::vector<AgentBrowser> agentBrowsers;  // by browser-text number
  HeldCounts heldBrowsers{BrowserMemo, BrowsersList};
};

}  // namespace

// ---- module state ----------------------------------------------------------
namespace {
AnalysisState mPass;       // one run of the pass; its counters outlive the run
HostMemo mHostMemo[kHostMemoSize];  // by the host's hash; emptied with mPass
int32_t mLineCounter = 0;  // lines since the last keep-alive blank

NodeMemo& BrowserMemo(uint8_t, uint32_t id) { return mPass.agentBrowsers[id].memo; }
ItemList** BrowsersList(uint8_t) { return &mPass.results.browsers; }
}  // namespace
// ------------------------------------------------------------------------------

namespace {

ItemList** ListHead(int index) {
  PassResults& r = mPass.results;
  switch (index) {
    case kUrlsList: return &r.topUrls;
    case kReferrersList: return &r.topReferrers;
    case kBrowsersList: return &r.browsers;
    case kBadUrlsList: return &r.badUrls;
    case kBadReferrersList: return &r.badReferrers;
    case kDomainsList: return &r.domains;
    case kDomainTypesList: return &r.domainTypes;
    default: return &r.search[index - kFirstSearchList];
  }
}

const char* ListTitle(int index) {
  return index < kFirstSearchList ? kMainListTitles[index]
                                  : kSearchListTitles[index - kFirstSearchList];
}

void AddItem(int index, const char* text, const char* secondary, bool ignoreCase) {
  add_item(ListHead(index), mPass.info[index], text, secondary, nullptr, ignoreCase ? 1 : 0);
}

ItemKey KeyFor(int index, const char* text, size_t length, bool ignoreCase) {
  return MakeItemKey(*ListHead(index), text, length, ignoreCase ? 1 : 0);
}

void AddKey(int index, const ItemKey& key) {
  add_item_key(ListHead(index), mPass.info[index], key, nullptr, nullptr);
}

// The node remembered in r for list index when it is still there (the
// list's reclaimed count is unchanged) and holds text (length bytes); else
// null.
ListItem* RememberedNode(int index, const char* text, size_t length, const Remembered& r) {
  if (r.node && r.reclaimed == mPass.info[index]->reclaimed && r.length == length &&
      memcmp(r.node->item, text, length) == 0)
    return r.node;
  return nullptr;
}

void Remember(int index, ListItem* node, size_t length, Remembered* r) {
  *r = Remembered{node, static_cast<uint32_t>(length), mPass.info[index]->reclaimed};
}

// AddKey through the node remembered in *r when RememberedNode allows; else
// by look-up, and the node that counted is remembered.
void AddKeyRemembered(int index, const ItemKey& key, Remembered* r) {
  if (ListItem* n = RememberedNode(index, key.text, key.length, *r)) {
    CountNodeAgain(*ListHead(index), n, 1);
    return;
  }
  Remember(index, add_item_key(ListHead(index), mPass.info[index], key, nullptr, nullptr), key.length, r);
}

// ---- set-up ----

// mktime of a local date and time (the library decides daylight saving).
ll::time32_t LocalTime(int year, int month, int day, int hour, int minute, int second) {
  struct tm tm = {};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  tm.tm_isdst = -1;
  return ll::Mktime32(&tm);
}

// The report range: local midnight of the first day to 23:59:59 of the last.
void ComputeRange(const StatsFields* settings) {
  int sm = 0, sd = 0, sy = 0, em = 0, ed = 0, ey = 0;
  ParseDate(&sm, &sd, &sy, &em, &ed, &ey, settings);
  mPass.results.rangeFirst = LocalTime(sy, sm, sd, 0, 0, 0);
  mPass.results.rangeLast = LocalTime(ey, em, ed, 23, 59, 59);
}

void BeforeReclaim();  // below, with the browsers

void InitLists(const StatsFields* settings) {
  gListInfo = ListCatalogue{};
  smart_memory_init(settings);
  DNSLookup_Init();
  for (int i = 0; i < kListCount; ++i) init_list(ListHead(i), &mPass.info[i], ListTitle(i));
  mPass.audience = AudienceWanted(settings);
  mPass.audienceAgents = mPass.audience && AudienceNeedsAgents(settings);
  if (mPass.audience) AudienceStart(settings, &mPass.results);
  smart_memory_before_reclaim(mPass.audience ? BeforeReclaim : nullptr);
}

// With subdirs and a wildcard find, everything below the pattern matches:
// a trailing '*' is added (over the last character when the field is full).
// The header shows the completed pattern.
void CompleteFindPattern(StatsFields* settings) {
  char* find = settings->find.data();
  size_t n = strlen(find);
  if (settings->subdirs && settings->findPattern && (n == 0 || find[n - 1] != '*')) {
    if (n >= kWorkSize - 1) {
      find[n - 1] = '*';
    } else {
      find[n] = '*';
      find[n + 1] = 0;
    }
  }
  mPass.findLength = strlen(find);
  // Below the root, find compares the URL's first findLength bytes, cut at
  // the query unless shown; when find holds no character that cuts, that is
  // a comparison of the URL's own first bytes.
  mPass.findIsPrefix = settings->subdirs && !settings->findPattern &&
                       (settings->showQuery || strcspn(find, "?\"") == mPass.findLength);
}

bool AnySectionCounts(const StatsFields* s) {
  return s->requests.show || s->referrers.show || s->browsers.show || s->domains.show ||
         s->domainTypes.show || s->dailyTotals || s->hitsPerDayOfWeek || s->hitsPerHour;
}

// False when no log file matches the account's patterns.
bool SetUp(StatsFields* settings) {
  mPass = AnalysisState{};
  for (HostMemo& m : mHostMemo) m.hostHash = 0;
  ComputeRange(settings);
  SuperLog_Init(settings, mPass.results.rangeFirst, mPass.results.rangeLast);
  if (!SuperLog_LogFilesFound()) return false;
  InitLists(settings);
  CompleteFindPattern(settings);
  mPass.anySectionCounts = AnySectionCounts(settings);
  mPass.hostFilterOn = !settings->filterDomains.empty();
  mPass.fileTypeFilterOn = !settings->filterFileTypes.empty();
  if (settings->debug) PassOutput().OpenDebugTable();
  if (settings->dnsLookupEnabled)
    mPass.lookupMode =
        IpAddrsOnly(settings->filterDomains.c_str()) ? kLookupForDomains : kLookupEveryHit;
  return true;
}

// ---- per hit ----

// A blank and a flush every thousand lines keep a web server from giving
// up on a long analysis.
void KeepAlive(const StatsFields* settings) {
  if (!settings->flushToServer) return;
  if (++mLineCounter > 1000) {
    PassOutput().KeepAlive();
    mLineCounter = 0;
  }
}

bool EqualsSetting(const char* value, const ll::FixedText<244>& setting) {
  return value != nullptr && strcasecmp(value, setting.c_str()) == 0;
}

// The find test on a copy of the URL (cut at the find length for subdirs
// without a pattern, and at the query unless showquery).
bool MatchesFind(const StatsFields* s, const char* url) {
  size_t limit = kWorkSize - 1;
  if (mPass.findIsPrefix) {
    const char* find = s->find.c_str();
    return s->findCaseSensitive ? strncmp(url, find, mPass.findLength) == 0
                                : strncasecmp(url, find, mPass.findLength) == 0;
  }
  if (s->subdirs && !s->findPattern && mPass.findLength < limit) limit = mPass.findLength;
  ll::CopyText(mPass.urlWork, sizeof mPass.urlWork, url, strnlen(url, limit));
  if (!s->showQuery) TruncateCGI(mPass.urlWork);
  const char* find = s->find.c_str();
  if (s->findCaseSensitive)
    return s->findPattern ? super_wildmat(find, mPass.urlWork) == 0
                          : strcmp(mPass.urlWork, find) == 0;
  return s->findPattern ? super_wildmati(find, mPass.urlWork) == 0
                        : strcasecmp(mPass.urlWork, find) == 0;
}

// Realm, user, host filter and find: the tests that drop a hit outright.
bool PassesRequestFilters(const StatsFields* s, const LogHit* hit) {
  if (!s->authRealm.empty() && !EqualsSetting(hit->realm, s->authRealm)) return false;
  if (!s->authUser.empty() && !EqualsSetting(hit->user, s->authUser)) return false;
  if (mPass.hostFilterOn && !NotFilteredDomain(s, hit->host)) return false;
  return MatchesFind(s, hit->url);
}

bool FileTypePasses(const StatsFields* s, const char* url) {
  if (!mPass.anySectionCounts || !mPass.fileTypeFilterOn) return true;
  ll::CopyText(mPass.fileTypeWork, url);
  TruncateFileType(mPass.fileTypeWork);
  return NotFilteredFileType(s, mPass.fileTypeWork) != 0;
}

// 404s count whatever their file type.
void CountBadRequest(const StatsFields* s, const LogHit* hit) {
  if (hit->status != 404) return;
  if (s->badUrls.show)
    AddItem(kBadUrlsList, hit->url, s->badUrlReferrers ? hit->referrer : nullptr, false);
  if (s->badReferrers.show && hit->referrer)
    AddItem(kBadReferrersList, hit->referrer, nullptr, false);
}

// "MSIE" anywhere counts for Microsoft; "Mozilla/" first without
// "ompatible" anywhere for Netscape.
AgentFlags TestAgent(const ListItem* node, const char* agent) {
  return AgentFlags{node, MSIE(agent) != 0,
                    strncmp(agent, "Mozilla/", 8) == 0 && !strstr(agent, "ompatible")};
}

// Counts an agent (not empty) in Browsers and in the browser families, by
// its key when MakeHitKeys made one; memo, when given, is the host's memo
// entry.
void CountBrowser(const char* agent, const ItemKey& agentKey, HostMemo* memo) {
  const size_t length = agentKey.text ? agentKey.length : strnlen(agent, kWorkSize - 1);
  ListInfo* info = mPass.info[kBrowsersList];
  // A host keeps its browser: its last agent's node is checked before the
  // agent is looked up (and, without a key, hashed).
  ListItem* node = memo ? RememberedNode(kBrowsersList, agent, length, memo->browser) : nullptr;
  if (node) {
    CountNodeAgain(*ListHead(kBrowsersList), node, 1);
  } else {
    const ItemKey key = agentKey.text ? agentKey : KeyFor(kBrowsersList, agent, length, false);
    node = add_item_key(ListHead(kBrowsersList), info, key, nullptr, nullptr);
    if (memo) Remember(kBrowsersList, node, length, &memo->browser);
  }
  ++mPass.results.browserHits;
  // A node that smart memory freed may come back holding another agent.
  const int32_t reclaimed = info ? info->reclaimed : 0;
  if (reclaimed != mPass.agentMemoReclaimed) {
    for (AgentFlags& f : mPass.agentMemo) f = AgentFlags{};
    mPass.agentMemoReclaimed = reclaimed;
  }
  // The reader cuts every field at 243 characters, so the node's text is
  // the whole agent and its tests are the agent's.
  AgentFlags& flags = mPass.agentMemo[(reinterpret_cast<uintptr_t>(node) >> 4) % kAgentMemoSize];
  if (flags.node != node) flags = TestAgent(node, agent);
  if (flags.msie) ++MsieCount;
  if (flags.netscape) ++NavCount;
}

// Counts a browser text whose number id is known in Browsers, through the
// node remembered for the number when it is still there; agentKey is the
// text's key when MakeHitKeys made one.
void CountBrowserById(const char* agent, uint32_t id, const ItemKey& agentKey) {
  if (id >= mPass.agentBrowsers.size()) mPass.agentBrowsers.resize(id + 1);
  AgentBrowser& b = mPass.agentBrowsers[id];
  if (!mPass.heldBrowsers.Hold(0, id, b.memo)) {
    const ItemKey key = agentKey.text
                            ? agentKey
                            : KeyFor(kBrowsersList, agent, strnlen(agent, kWorkSize - 1), false);
    mPass.heldBrowsers.Remember(
        b.memo, add_item_key(ListHead(kBrowsersList), mPass.info[kBrowsersList], key, nullptr, nullptr));
    b.flags = TestAgent(b.memo.node, agent);
  }
  ++mPass.results.browserHits;
  if (b.flags.msie) ++MsieCount;
  if (b.flags.netscape) ++NavCount;
}

void BeforeReclaim() {
  mPass.heldBrowsers.Flush();
  AudienceBeforeReclaim();
}

// Domains count the host's domain (or network for an address); domain types
// count what is left after the last dot, "UNKNOWN" for an address.  An IPv6
// address (the only host that keeps a ':') is counted whole as its own
// domain, and as "UNKNOWN".  Both cut a copy of the host, so a resolved name
// of any length is safe to cut.
// CutDomain copies the host and, when domains are on, cuts the copy to the
// domain and makes its key; it returns where the domain starts in hostWork.
// Only an IPv6 address keeps a ':' once the port is trimmed from the host.
bool IsIpv6Host(const char* host) { return strchr(host, ':') != nullptr; }

// Sets *ipv6 to whether the host is an IPv6 address.
char* CutDomain(const StatsFields* s, const char* host, ItemKey* domain, char* work, bool* ipv6) {
  ll::CopyText(work, kWorkSize, host, strnlen(host, kWorkSize - 1));
  char* cut = work;
  *ipv6 = IsIpv6Host(work);
  if (s->domains.show) {
    if (*ipv6) {
      // an IPv6 address stays whole
    } else if (IPaddress(cut)) {
      TruncateIP(cut);
    } else {
      cut = TruncateLSD(cut);
    }
    *domain = KeyFor(kDomainsList, cut, strlen(cut), false);
  }
  return cut;
}

// Cuts the domain type out of a host cut by CutDomain: the cut copy moves
// to the start of work, which ends as the type.
void CutDomainType(char* cut, char* work, bool ipv6) {
  if (cut != work) memmove(work, cut, strlen(cut) + 1);
  if (ipv6) {
    ll::CopyText(work, kWorkSize, "UNKNOWN");
  } else {
    TruncateDomain(work, 1);
    checkIP(work);
  }
}

// Counts the domain and the domain type of a host cut by CutDomain into work
// (or, when type has a text, already keyed with its type).
void CountDomains(const StatsFields* s, const ItemKey& domain, const ItemKey& type, char* cut,
                  char* work, bool ipv6, HostMemo* memo) {
  if (s->domains.show) {
    if (memo)
      AddKeyRemembered(kDomainsList, domain, &memo->domainNode);
    else
      AddKey(kDomainsList, domain);
    ++mPass.results.domainHits;
  }
  if (s->domainTypes.show) {
    if (memo) {
      AddKeyRemembered(kDomainTypesList, type, &memo->typeNode);
    } else if (type.text) {
      AddKey(kDomainTypesList, type);
    } else {
      CutDomainType(cut, work, ipv6);
      AddItem(kDomainTypesList, work, nullptr, false);
    }
    ++mPass.results.domainTypeHits;
  }
}

void CountTimes(const StatsFields* s, const struct tm& tm) {
  PassResults& r = mPass.results;
  if (s->dailyTotals && tm.tm_yday >= 0 && tm.tm_yday < 366) {
    ++r.dailyCounts[tm.tm_yday];
    ++r.dailyHits;
  }
  if (s->hitsPerDayOfWeek && tm.tm_wday >= 0 && tm.tm_wday < 7) {
    ++r.weekdayCounts[tm.tm_wday];
    ++r.weekdayHits;
  }
  if (s->hitsPerHour && tm.tm_hour >= 0 && tm.tm_hour < 24) {
    ++r.hourCounts[tm.tm_hour];
    ++r.hourHits;
  }
}

void CountSearchPhrase(const StatsFields* s, const char* referrer) {
  int engine = ExtractSearchPhrase(referrer, mPass.referrerWork);
  if (engine < 0) return;
  AddItem(kFirstSearchList + engine, mPass.referrerWork, nullptr, !s->searchCaseSensitive);
  ++mPass.results.searchHits;
}

// Search phrases count whatever the file type; the referrer list only for
// hits that pass it.  A referrer from an excluded domain counts for neither.
void CountReferrer(const StatsFields* s, const char* referrer, const ItemKey* key,
                   bool fileTypePasses) {
  bool wantReferrer = s->referrers.show && fileTypePasses;
  if (!s->search.show && !wantReferrer) return;
  if (!referrer) return;
  if (s->filterReferrers && !NotFilteredDomain(s, referrer)) return;
  if (s->search.show && strchr(referrer, '?')) CountSearchPhrase(s, referrer);
  if (wantReferrer) {
    AddKey(kReferrersList, *key);
    ++mPass.results.referralHits;
  }
}

void CountUrl(const StatsFields* s, const ItemKey* key) {
  if (!s->badUrls.show && !s->requests.show) return;
  if (s->requests.show) AddKey(kUrlsList, *key);
  ++mPass.results.urlHits;
}

// Returns the resolved name that now stands as the hit's host (the caller
// frees it), or null.  Sets *dropped when the name is an excluded domain.
char* ResolveForFilter(const StatsFields* s, LogHit* hit, bool* dropped) {
  char* name = GetHostFromIP(hit->host);
  if (!name) return nullptr;
  hit->host = name;
  *dropped = !NotFilteredDomain(s, name);
  return name;
}

char* ResolveForDomains(const StatsFields* s, LogHit* hit) {
  if (!s->domains.show && !s->domainTypes.show) return nullptr;
  if (!IsIpAddr(hit->host)) return nullptr;
  char* name = GetHostFromIP(hit->host);
  if (name) hit->host = name;
  return name;
}

// The keys of the big lists that one hit feeds, made before the hit is
// counted so that their table slots and nodes are fetched while other work
// goes on; only the keys of lists the hit will reach are made.
struct HitKeys {
  ItemKey url{};
  ItemKey agent{};
  ItemKey referrer{};
  ItemKey domain{};
  ItemKey type{};             // the domain type's key when made with the domain's
  char* domainCut = nullptr;  // the domain's start in hostWork; null until cut
  char* hostWork = nullptr;   // where the host is cut: its own buffer per hit in flight
  bool hostIsIpv6 = false;    // known once the host is cut
  HostMemo* memo = nullptr;   // the host's memo entry, when its keys came from one
  uint32_t hostHash = 0;      // the host's hash, when the memo was searched for it
  int64_t agentId = -1;       // the browser text's number, once known
};

// In hostWork, a memo's domain starts at 0 and its type at kMemoTypeAt.
constexpr size_t kMemoTypeAt = 2 * kMemoTextSize;
static_assert(kMemoTypeAt + kMemoTextSize <= kWorkSize);

// Cuts the host into its domain and domain type and makes their keys, from
// the host memo when the host was seen lately.  The keys' texts are copied
// into the hit's own hostWork: a memo entry may be replaced before the hit
// is counted.
void KeyHost(const StatsFields* s, const char* host, HitKeys* keys) {
  char* work = keys->hostWork;
  const size_t n = strnlen(host, kMemoTextSize);
  if (n == kMemoTextSize) {
    keys->domainCut = CutDomain(s, host, &keys->domain, work, &keys->hostIsIpv6);
    return;
  }
  const uint32_t h = TextHash(host, n);
  keys->hostHash = h;
  HostMemo& m = mHostMemo[h % kHostMemoSize];
  if (m.hostHash == h && m.hostLength == n && memcmp(m.host, host, n) == 0) {
    memcpy(work, m.domainText, kMemoTextSize);
    memcpy(work + kMemoTypeAt, m.typeText, kMemoTextSize);
    keys->domain = m.domain;
    keys->domain.text = work;
    keys->type = m.type;
    keys->type.text = work + kMemoTypeAt;
    keys->domainCut = work;
    keys->hostIsIpv6 = m.ipv6;
    keys->memo = &m;
    return;
  }
  // Every text below is shorter than the host, so each fits an entry.
  char* cut = CutDomain(s, host, &keys->domain, work, &keys->hostIsIpv6);
  m.hostHash = 0;
  if (s->domains.show) {
    memcpy(m.domainText, cut, keys->domain.length);
    m.domainText[keys->domain.length] = 0;
    m.domain = keys->domain;
  }
  if (s->domainTypes.show) {
    char* type = work + kMemoTypeAt;
    memcpy(type, cut, strlen(cut) + 1);
    CutDomainType(type, type, keys->hostIsIpv6);
    keys->type = KeyFor(kDomainTypesList, type, strlen(type), false);
    memcpy(m.typeText, type, keys->type.length + 1);
    m.type = keys->type;
  }
  // The domain moves to the start of work, where a memo's copy goes.
  if (cut != work) memmove(work, cut, keys->domain.length + 1);
  keys->domain.text = work;
  keys->domainCut = work;
  memcpy(m.host, host, n);
  m.hostLength = static_cast<uint32_t>(n);
  m.ipv6 = keys->hostIsIpv6;
  m.browser = m.domainNode = m.typeNode = Remembered{};
  m.agentIdPlusOne = 0;
  m.visitor = VisitorMemo{m.visitor.stamp + 1};
  m.hostHash = h;
  keys->memo = &m;
}

// The number of the hit's browser text (length bytes), when the host memo
// has it: a host keeps its browser, and comparing the text is cheaper than
// hashing it.  False when the memo does not know it.
bool AgentIdFromMemo(const char* agent, size_t length, HitKeys* keys) {
  if (!keys->memo || !keys->memo->agentIdPlusOne) return false;
  const uint32_t id = keys->memo->agentIdPlusOne - 1;
  if (!AgentIdIs(id, agent, length)) return false;
  keys->agentId = id;
  return true;
}

void MakeHitKeys(const StatsFields* s, const LogHit* hit, HitKeys* keys) {
  if (s->requests.show) {
    const char* url = hit->url;
    size_t n = s->showQuery ? strnlen(url, kWorkSize - 1) : strcspn(url, "?\"");
    keys->url = KeyFor(kUrlsList, url, n, !s->findCaseSensitive);
    PrefetchItemSlot(*ListHead(kUrlsList), keys->url);
  }
  if (s->referrers.show && hit->referrer) {
    const char* referrer = hit->referrer;
    keys->referrer = KeyFor(kReferrersList, referrer, strnlen(referrer, kWorkSize - 1), true);
    PrefetchItemSlot(*ListHead(kReferrersList), keys->referrer);
  }
  // A host that a lookup may still replace is cut only when it is counted.
  if (mPass.lookupMode == kNoLookup && (s->domains.show || s->domainTypes.show) && hit->host) {
    KeyHost(s, hit->host, keys);
    // A host seen lately has its domain's node at hand: no slot to look up.
    if (keys->memo && keys->memo->domainNode.node)
      __builtin_prefetch(keys->memo->domainNode.node);
    else if (s->domains.show)
      PrefetchItemSlot(*ListHead(kDomainsList), keys->domain);
  }
  // The newer sections number the browser text, by the host memo or else
  // by the agent's key; without them the host memo usually spares the hash
  // (CountBrowser).
  if (mPass.audienceAgents) {
    const char* agent = hit->agent ? hit->agent : "";
    const size_t length = strnlen(agent, kWorkSize - 1);
    if (!AgentIdFromMemo(agent, length, keys) && s->browsers.show && hit->agent) {
      keys->agent = KeyFor(kBrowsersList, agent, length, false);
      PrefetchItemSlot(*ListHead(kBrowsersList), keys->agent);
    }
  }
}

void PrefetchHitNodes(const StatsFields* s, const HitKeys& keys) {
  if (s->requests.show) PrefetchItemNode(*ListHead(kUrlsList), keys.url);
  if (keys.referrer.text) PrefetchItemNode(*ListHead(kReferrersList), keys.referrer);
  if (keys.domainCut && s->domains.show && !(keys.memo && keys.memo->domainNode.node))
    PrefetchItemNode(*ListHead(kDomainsList), keys.domain);
}

// What the newer sections may take from the hit's keys.
AudienceHitKeys AudienceKeysOf(const HitKeys& keys) {
  return AudienceHitKeys{keys.url.text ? &keys.url : nullptr,
                         keys.agent.text ? &keys.agent : nullptr, keys.agentId, keys.hostHash,
                         keys.memo ? &keys.memo->visitor : nullptr};
}

// Starts the newer sections on a keyed hit; the hit's keys and its host's
// memo entry learn the number of its browser text.
void PrepareAudience(LogHit* hit, const char* loggedHost, HitKeys* keys) {
  const uint32_t agentId = PrepareAudienceHit(hit, loggedHost, AudienceKeysOf(*keys));
  if (!mPass.audienceAgents) return;
  keys->agentId = agentId;
  if (keys->memo) keys->memo->agentIdPlusOne = agentId + 1;
}

// Makes the keys of a hit that passes the file types and counts it in the
// totals.
void KeyHit(const StatsFields* s, LogHit* hit, HitKeys* keys) {
  MakeHitKeys(s, hit, keys);
  ++mPass.results.totalHits;
  SuperLongAdd(&mPass.results.totalBytes, static_cast<uint32_t>(hit->bytes));
}

// Counts a hit into the lists and tables once its keys are made (when its
// file type passes).  Returns the resolved name that now stands as the
// hit's host (the caller frees it), or null.
char* CountKeyedHit(const StatsFields* s, LogHit* hit, const char* loggedHost, HitKeys* keys,
                    bool fileTypePasses, bool nodesRequested) {
  char* resolved = nullptr;
  if (s->badUrls.show || s->badReferrers.show) CountBadRequest(s, hit);
  if (s->browsers.show && fileTypePasses && hit->agent) {
    if (keys->agentId >= 0)
      CountBrowserById(hit->agent, static_cast<uint32_t>(keys->agentId), keys->agent);
    else
      CountBrowser(hit->agent, keys->agent, keys->memo);
  }
  if (fileTypePasses && !nodesRequested) PrefetchHitNodes(s, *keys);
  if (mPass.lookupMode == kLookupForDomains && fileTypePasses && hit->host)
    resolved = ResolveForDomains(s, hit);
  if ((s->domains.show || s->domainTypes.show) && fileTypePasses && hit->host) {
    if (!keys->domainCut) keys->domainCut = CutDomain(s, hit->host, &keys->domain, keys->hostWork, &keys->hostIsIpv6);
    CountDomains(s, keys->domain, keys->type, keys->domainCut, keys->hostWork, keys->hostIsIpv6, keys->memo);
  }
  if (fileTypePasses) CountTimes(s, hit->tm);
  CountReferrer(s, hit->referrer, &keys->referrer, fileTypePasses);
  if (fileTypePasses) CountUrl(s, &keys->url);
  if (fileTypePasses && mPass.audience) CountAudienceHit(s, hit, loggedHost, &mPass.results);
  return resolved;
}

// Counts one hit of the report range into totals, lists and tables, when
// host names may be looked up.
void CountHit(const StatsFields* s, LogHit* hit) {
  if (!PassesRequestFilters(s, hit)) return;
  const char* loggedHost = hit->host;  // a lookup below may replace hit->host
  bool fileTypePasses = FileTypePasses(s, hit->url);
  char* resolved = nullptr;
  if (mPass.lookupMode == kLookupEveryHit && fileTypePasses && hit->host) {
    bool dropped = false;
    resolved = ResolveForFilter(s, hit, &dropped);
    if (dropped) {
      free(resolved);
      return;
    }
  }
  HitKeys keys;
  keys.hostWork = mPass.hostWork;
  if (fileTypePasses) KeyHit(s, hit, &keys);
  if (fileTypePasses && mPass.audience) PrepareAudience(hit, loggedHost, &keys);
  char* domainName = CountKeyedHit(s, hit, loggedHost, &keys, fileTypePasses, false);
  free(domainName);
  free(resolved);
}

// A hit read and keyed but not yet counted.
struct PendingHit {
  LogHit hit;
  HitKeys keys;
  bool fileTypePasses;
  char hostWork[kWorkSize];
};

// Filters and keys a kept hit.  False when the filters drop it.
bool PrepareHit(const StatsFields* s, PendingHit* p) {
  if (!PassesRequestFilters(s, &p->hit)) return false;
  p->fileTypePasses = FileTypePasses(s, p->hit.url);
  p->keys = HitKeys{};
  p->keys.hostWork = p->hostWork;
  if (p->fileTypePasses) KeyHit(s, &p->hit, &p->keys);
  if (p->fileTypePasses && mPass.audience) PrepareAudience(&p->hit, p->hit.host, &p->keys);
  return true;
}

void CountPendingHit(const StatsFields* s, PendingHit* p) {
  CountKeyedHit(s, &p->hit, p->hit.host, &p->keys, p->fileTypePasses, true);
}

PendingHit mPending[2];  // the hit being counted and the one read after it

// Reads one file of the report range, counting each hit one hit late:
// the next hit is read and its table slots requested while the nodes of the
// pending one are fetched, so that the waits for the tables overlap the
// reading.  Hits are counted in the order of the file all the same.
void ReadLogCountingLate(const StatsFields* settings) {
  const ll::time32_t first = mPass.results.rangeFirst;
  const ll::time32_t last = mPass.results.rangeLast;
  PendingHit* pending = nullptr;
  PendingHit* next = &mPending[0];
  for (;;) {
    if (pending && pending->fileTypePasses) PrefetchHitNodes(settings, pending->keys);
    if (!SuperLog_ParseNextLine(&next->hit)) break;
    KeepAlive(settings);
    if (next->hit.time < first) continue;
    if (next->hit.time > last) break;
    if (!PrepareHit(settings, next)) continue;
    // The pending hit's line is not read over before it is counted.
    SuperLog_KeepHit();
    if (pending) CountPendingHit(settings, pending);
    pending = next;
    next = next == &mPending[0] ? &mPending[1] : &mPending[0];
  }
  if (pending) CountPendingHit(settings, pending);
}

// Reads every file that meets the report range; a file is in time order, so
// its first hit past the range ends it.
void ReadAllLogs(const StatsFields* settings) {
  const ll::time32_t first = mPass.results.rangeFirst;
  const ll::time32_t last = mPass.results.rangeLast;
  LogHit hit;
  while (SuperLog_NextLogFile()) {
    if (mPass.lookupMode == kNoLookup) {
      ReadLogCountingLate(settings);
      continue;
    }
    while (SuperLog_ParseNextLine(&hit)) {
      KeepAlive(settings);
      if (hit.time < first) continue;
      if (hit.time > last) break;
      CountHit(settings, &hit);
    }
  }
  SuperLog_NextLogFile_Done();
}

// ---- clean-up ----

void DestroyList(int index) {
  ItemList** head = ListHead(index);
  destroy(*head);
  *head = nullptr;
}

void CleanUp() {
  destroyListInfo();
  DestroyDNSCache();
  SuperLog_Uninit();
  for (int index : {kBadUrlsList, kBadReferrersList, kBrowsersList, kDomainsList,
                    kDomainTypesList, kReferrersList, kUrlsList})
    DestroyList(index);
  for (int i = kFirstSearchList; i < kListCount; ++i) DestroyList(i);
  for (ListInfo*& info : mPass.info) info = nullptr;
  AudienceFree(&mPass.results);
  smart_memory_before_reclaim(nullptr);
  FreeDomainsNow();
  FreeFileTypesNow();
}

}  // namespace

PassResults* RunAnalysisPass(StatsFields* settings) {
  if (!SetUp(settings)) return nullptr;
  ReadAllLogs(settings);
  mPass.heldBrowsers.Flush();
  if (mPass.audience) AudienceFinish(&mPass.results);
  // With nothing ever reclaimed, the peak is simply what is in use now.
  if (gSM_TotalBytesFreed == 0) gSM_MaximumBytesAllocated = gSM_CurrentBytesAllocated;
  return &mPass.results;
}

void FreeAnalysisPass() { CleanUp(); }

const PassResults& AnalysisLastResultsForTesting() { return mPass.results; }
int32_t AnalysisLastTotalHitsForTesting() { return mPass.results.totalHits; }
SuperLong AnalysisLastTotalBytesForTesting() { return mPass.results.totalBytes; }

void AnalysisResetForTesting() {
  mPass = AnalysisState{};
  for (HostMemo& m : mHostMemo) m.hostHash = 0;
  mLineCounter = 0;
}

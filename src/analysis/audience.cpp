// Counting for the visitor, page, status-code, browser-family and robot
// sections.
//
// The item lists are the ordinary ones, so smart memory bounds them.  The
// visitor table (one entry per host and browser text) and the bytes beside
// pages and robot families are exact and outside the ceiling: a visit cut
// short by reclamation would miscount every later hit of it.  Hosts, pages
// and robot families are numbered once in flat tables (a page by the hash
// its list uses anyway), browser texts are classified once, and the list
// keys of status codes and of each browser text's family, system and robot
// are hashed once, so a hit of a known visitor allocates nothing and hashes
// nothing of its own: the pass's memo of recent hosts gives its browser
// text's number and its visitor's slot, and its page is found by the hash
// of its Top URLs key.
#include "analysis/audience.h"


#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "analysis/agents.h"
#include "analysis/filters.h"
#include "analysis/held_counts.h"
#include "analysis/list.h"
#include "analysis/pass_results.h"
#include "analysis/text_ids.h"
#include "base/fixed_text.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace {

// Whether a file type (as FileTypeOf finds it, with its dot; empty for
// none) is a page's.  Each page extension is compared as one word: the
// extension's bytes with their case bit set equal the lower-case name only
// when each byte is that letter in either case.
bool IsPageType(std::string_view type) {
  constexpr auto word = [](std::string_view name) {
    uint64_t w = 0;
    for (size_t i = 0; i < name.size(); ++i)
      w |= uint64_t{static_cast<unsigned char>(name[i])} << (8 * i);
    return w;
  };
  if (type.empty()) return true;  // no extension
  type.remove_prefix(1);          // the dot
  if (type.size() < 2 || type.size() > 5) return false;
  const size_t n = type.size();
  uint64_t w = 0;
  memcpy(&w, type.data(), n);
  w |= 0x2020202020ULL >> (8 * (5 - n));
  switch (n) {
    case 2: return w == word("pl");
    case 3:
      return w == word("htm") || w == word("php") || w == word("asp") || w == word("jsp") ||
             w == word("cgi");
    case 4: return w == word("html") || w == word("aspx");
    default: return w == word("shtml");
  }
}

constexpr ll::time32_t kVisitGap = 30 * 60;  // a longer pause starts a new visit
constexpr size_t kWorkSize = 244;

// One visitor in the open-addressed visitor table, one cache line, so that
// a probe reads one line.  A host of up to 32 bytes (every IPv4 address)
// is kept in the slot itself, a longer one as its number in hostIds; the
// browser text as its number.  The hash only finds the slot, host and agent
// are always compared, so two visitors are never merged.  The slot's hash
// is made from the host's hash (not its number), so that the slot can be
// requested before anything is looked up, and the host's hash is the one
// the pass makes for its host memo anyway.
constexpr size_t kInlineHost = 32;
struct Visitor {
  uint32_t tag;  // high half of the hash, never 0; 0 marks an empty slot
  uint32_t agent;
  uint32_t lastPage;  // the open visit's last page, a number of pageIds
  ll::time32_t visitStart;
  ll::time32_t last;
  uint32_t hostHash;
  int16_t lastDay;  // the last day this visitor was counted on
  uint8_t flags;
  uint8_t hostLength;  // of a host kept in hostText
  uint32_t host;       // the host's number in hostIds, when not in hostText
  char hostText[kInlineHost];
};
static_assert(sizeof(Visitor) == 64);
constexpr uint8_t kHasPage = 1;         // the open visit has an entry page
constexpr uint8_t kInlineHostText = 4;  // the host is in hostText

using SlotArray = HugeSlots<Visitor>;

// The host as one visitor-table key: a short host, or the number of a long
// one.
struct HostKey {
  uint8_t kind;    // kInlineHostText, or 0 for a numbered host
  uint32_t value;  // a numbered host's number, once looked up
  uint32_t hash;
  std::string_view text;  // the host as logged, while the hit lasts
};

// The lists of these sections, by their index in AudienceState::info.
enum ListIndex : uint8_t {
  kPages, kEntryPages, kExitPages, kStatusCodes, kFamilies, kSystems, kRobots
};

// The memo of number id for one of the lists, and the list (for the held
// counts).
NodeMemo& MemoOf(uint8_t list, uint32_t id);
ItemList** ListOf(uint8_t list);

struct SideFigures {
  int32_t pages = 0;
  double bytes = 0;
};

// A page's node in the pages list and its bytes, kept beside the page's
// text in the page table: a page view reads one cache line.
struct PageFigures {
  NodeMemo page;
  double bytes;
};

// A page's nodes in the entry and exit pages lists, by page number.
struct PageEnds {
  NodeMemo entry, exit;
};

// The list hashes of what a browser text is, worked out on its first hit,
// and the nodes that count it.
struct AgentKeys {
  bool made = false;
  uint32_t browser = 0, system = 0, robot = 0;
  int32_t robotId = -1;  // the family's number in robotIds, -1 for people
  NodeMemo browserNode, systemNode, robotNode;
};

// A status code's list text and hash, made on the code's first hit, and
// its node.
struct StatusKey {
  char text[4];
  uint32_t hash;  // 0 until made
  NodeMemo node;
};
constexpr int kStatusKeys = 1000;  // codes 0 to 999; others are keyed per hit

// What PrepareAudienceHit worked out for the hit about to be counted.
struct Prepared {
  const LogHit* hit = nullptr;
  uint32_t agentId = 0;
  // The visitor's slot when the host's memo knew it (slotKnown), else the
  // host's key and the visitor's hash.
  bool slotKnown = false;
  uint32_t slot = 0;
  uint32_t generation = 0;
  HostKey host{};
  uint64_t visitorHash = 0;
  VisitorMemo* memo = nullptr;  // to learn the visitor's slot, while stamp holds
  uint32_t memoStamp = 0;
  bool isPage = false;
  ItemKey pageKey{};
};

struct AudienceState {
  // Hits prepared and not yet counted, in the order they are counted: the
  // pass prepares a hit while it counts the one before.
  Prepared prepared[2];  // a ring: the next to count is prepared[preparedFirst]
  int preparedFirst = 0;
  int preparedCount = 0;
  PassResults* results = nullptr;
  bool visitors = false, pages = false, statusCodes = false, families = false, robots = false;
  bool byAgent = false;  // a section on that needs the browser text's number
  bool pagesIgnoreCase = false;
  bool showQuery = false;
  ListInfo* info[7] = {};
  SlotArray visitorTable;  // a power of two long, or empty
  size_t visitorCount = 0;
  uint32_t generation = 1;  // one more each time the table is made anew
  TextIds hostIds;  // hosts that are not addresses
  TextTable<PageFigures> pageIds;  // by the pages list's comparison and hash
  std::vector<PageEnds> pageEnds;         // by page number
  std::vector<AgentKeys> agentKeys;      // by browser text number
  TextIds robotIds;
  std::vector<SideFigures> robotFigures;  // by robot family number
  StatusKey statusKeys[kStatusKeys] = {};
  HeldCounts held{MemoOf, ListOf};
};

AudienceState m;

bool On(const SectionSetting& s) { return s.show != 0; }

void AddTo(ItemList** list, int info, const char* text, bool ignoreCase = false) {
  add_item(list, m.info[info], text, nullptr, nullptr, ignoreCase ? 1 : 0);
}

// The key of a text whose hash was made for its list before.
ItemKey KnownKey(const char* text, uint32_t length, uint32_t hash, bool ignoreCase) {
  int fold = ignoreCase ? 1 : 0;
  return ItemKey{text, length, hash, fold, fold};
}

ItemList** ListOf(uint8_t list) {
  PassResults* r = m.results;
  ItemList** lists[] = {&r->pages,   &r->entryPages,       &r->exitPages, &r->statusCodes,
                        &r->browserFamilies, &r->operatingSystems, &r->robots};
  return lists[list];
}

// Holds one more hit for memo's node when it is still there.
[[gnu::always_inline]] inline bool HoldForMemo(ListIndex list, uint32_t id, NodeMemo& memo) {
  return m.held.Hold(list, id, memo);
}

// Counts key into a list and remembers the node in memo.
[[gnu::noinline]] void AddAndRemember(ListIndex list, NodeMemo& memo, const ItemKey& key) {
  m.held.Remember(memo, add_item_key(ListOf(list), m.info[list], key, nullptr, nullptr));
}

// Counts key into a list through the node remembered for number id.
void AddRemembered(ListIndex list, uint32_t id, NodeMemo& memo, const ItemKey& key) {
  if (!HoldForMemo(list, id, memo)) AddAndRemember(list, memo, key);
}

void AddKnown(ListIndex list, uint32_t id, NodeMemo& memo, const char* text, uint32_t hash) {
  if (!HoldForMemo(list, id, memo))
    AddAndRemember(list, memo, KnownKey(text, static_cast<uint32_t>(strlen(text)), hash, false));
}

// The key of a numbered page in the page lists.
ItemKey PageKey(uint32_t id) {
  return KnownKey(m.pageIds.Text(id), m.pageIds.Length(id), m.pageIds.Hash(id),
                  m.pagesIgnoreCase);
}

uint32_t ListHash(const char* text, size_t length, bool ignoreCase) {
  return MakeItemKey(nullptr, text, length, ignoreCase ? 1 : 0).hash;
}

// Ends a visitor's open visit: its exit page and its length.
void EndVisit(Visitor& v, PassResults* r) {
  if (m.pages && (v.flags & kHasPage)) {
    const uint32_t id = v.lastPage;
    NodeMemo& exit = m.pageEnds[id].exit;
    if (!HoldForMemo(kExitPages, id, exit)) AddAndRemember(kExitPages, exit, PageKey(id));
    ++r->visitEnds;
  }
  r->visitSeconds += static_cast<double>(v.last) - v.visitStart;
  v.flags &= static_cast<uint8_t>(~kHasPage);
}

// The host's hash (knownHash when the pass made it), and whether it fits a
// visitor's slot; the hosts table's slot for a longer one is requested, to
// be read by NumberHost.
void HashHost(const char* hostText, uint32_t knownHash, HostKey* key) {
  std::string_view text(hostText ? hostText : "");
  if (text.size() > 255) text = text.substr(0, 255);  // hosts are cut at 243 before this
  // Field by field: the key is read whole soon after, and a copy of a
  // record just written in parts waits for the parts.
  key->text = text;
  key->value = 0;
  key->hash = knownHash ? knownHash : TextHash(text.data(), text.size());
  key->kind = kInlineHostText;
  if (text.size() > kInlineHost) {
    key->kind = 0;
    m.hostIds.Prefetch(key->hash);
  }
}

// A host too long for the visitor's slot is numbered on first sight.
void NumberHost(HostKey* key) {
  if (!key->kind)
    key->value = m.hostIds.Find(key->text.data(), static_cast<uint32_t>(key->text.size()),
                                key->hash, false);
}

uint64_t VisitorHash(uint8_t hostKind, uint32_t hostHash, uint32_t agent) {
  uint64_t h = (hostHash * 0xD6E8FEB86659FD93ULL) ^ (hostKind * 0x5851F42D4C957F2DULL);
  h ^= agent * 0x9E3779B97F4A7C15ULL;
  h ^= h >> 29;
  h *= 0xBF58476D1CE4E5B9ULL;
  h ^= h >> 32;
  return h;
}

uint32_t TagOf(uint64_t hash) { return static_cast<uint32_t>(hash >> 32) | 1; }

constexpr uint8_t kHostKinds = kInlineHostText;

bool SameHost(const Visitor& v, const HostKey& host) {
  if ((v.flags & kHostKinds) != host.kind) return false;
  if (host.kind != kInlineHostText) return v.host == host.value;
  return v.hostLength == host.text.size() && memcmp(v.hostText, host.text.data(), v.hostLength) == 0;
}

// Doubles the table (or makes its first 4096 slots).
void GrowVisitors() {
  SlotArray old;
  old.Swap(m.visitorTable);
  size_t size = old.empty() ? 4096 : old.size() * 2;
  m.visitorTable.Make(size);
  ++m.generation;
  for (const Visitor& v : old) {
    if (!v.tag) continue;
    size_t at = VisitorHash(v.flags & kHostKinds, v.hostHash, v.agent) & (size - 1);
    while (m.visitorTable[at].tag) at = (at + 1) & (size - 1);
    m.visitorTable[at] = v;
  }
}

// Requests the slot where a visitor's search starts, so that the wait for
// memory overlaps the hit's other counting.
uint64_t PrefetchVisitor(const HostKey& host, uint32_t agent) {
  uint64_t hash = VisitorHash(host.kind, host.hash, agent);
  if (!m.visitorTable.empty())
    __builtin_prefetch(&m.visitorTable[hash & (m.visitorTable.size() - 1)]);
  return hash;
}

Visitor& FindVisitor(const HostKey& host, uint32_t agent, uint64_t hash, bool* isNew) {
  if ((m.visitorCount + 1) * 4 > m.visitorTable.size() * 3) GrowVisitors();
  size_t mask = m.visitorTable.size() - 1;
  uint32_t tag = TagOf(hash);
  size_t at = hash & mask;
  for (;; at = (at + 1) & mask) {
    Visitor& v = m.visitorTable[at];
    if (!v.tag) break;
    if (v.tag == tag && v.agent == agent && SameHost(v, host)) {
      *isNew = false;
      return v;
    }
  }
  *isNew = true;
  Visitor& v = m.visitorTable[at];
  v = Visitor{};
  v.tag = tag;
  v.agent = agent;
  v.lastDay = -1;
  v.flags = host.kind;
  v.host = host.value;
  v.hostHash = host.hash;
  if (host.kind == kInlineHostText) {
    v.hostLength = static_cast<uint8_t>(host.text.size());
    memcpy(v.hostText, host.text.data(), host.text.size());
  }
  ++m.visitorCount;
  return v;
}

// A page view of the hit: its key in the pages lists, its number and its
// figures.
struct PageView {
  const ItemKey* key;
  uint32_t id;
  PageFigures* figures;
};

// The prepared hit's visitor: at its slot when that is known and the table
// has not grown since, else looked up (and made when new), and then its
// slot is remembered in the host's memo when that still holds the host.
Visitor& VisitorOf(Prepared& p, const char* loggedHost, bool* isNew) {
  *isNew = false;
  if (p.slotKnown && p.generation == m.generation) return m.visitorTable[p.slot];
  if (p.slotKnown) {  // the table grew since: hash the host after all
    HashHost(loggedHost, 0, &p.host);
    p.visitorHash = VisitorHash(p.host.kind, p.host.hash, p.agentId);
  }
  NumberHost(&p.host);
  Visitor& v = FindVisitor(p.host, p.agentId, p.visitorHash, isNew);
  if (p.memo && p.memo->stamp == p.memoStamp)
    *p.memo = VisitorMemo{p.memoStamp, p.agentId + 1,
                          static_cast<uint32_t>(&v - m.visitorTable.begin()), m.generation};
  return v;
}

void CountVisit(const LogHit* hit, Prepared& prepared, const char* loggedHost,
                const PageView* page, PassResults* r) {
  bool isNew = false;
  Visitor& v = VisitorOf(prepared, loggedHost, &isNew);
  int day = hit->tm.tm_yday;
  if (day < 0 || day >= 366) return;
  // Hits of several log files may arrive out of order: an earlier hit
  // belongs to the open visit.
  if (!isNew && hit->time - v.last > kVisitGap) EndVisit(v, r);
  if (isNew || hit->time - v.last > kVisitGap) {
    v.visitStart = hit->time;
    ++r->visitDays[day].visits;
    ++r->visitTotals.visits;
  }
  if (hit->time > v.last || isNew) v.last = hit->time;
  if (isNew) ++r->visitTotals.visitors;
  if (v.lastDay != day) {
    v.lastDay = day;
    ++r->visitDays[day].visitors;
  }
  PassResults::VisitFigures& d = r->visitDays[day];
  double bytes = static_cast<uint32_t>(hit->bytes);
  ++d.hits;
  ++r->visitTotals.hits;
  d.bytes += bytes;
  r->visitTotals.bytes += bytes;
  if (page) {
    ++d.pages;
    ++r->visitTotals.pages;
    if (m.pages) {
      if (!(v.flags & kHasPage)) {
        AddRemembered(kEntryPages, page->id, m.pageEnds[page->id].entry, *page->key);
        v.flags |= kHasPage;
      }
      v.lastPage = page->id;
    }
  }
}

void NumberPage(PageView* page) {
  const ItemKey& key = *page->key;
  bool added = false;
  page->id =
      m.pageIds.Find(key.text, key.length, key.hash, m.pagesIgnoreCase, &added, &page->figures);
  if (added) m.pageEnds.push_back({});
}

// Counts a page view in the pages list and its bytes beside it.
void CountPage(const LogHit* hit, PageView* page, PassResults* r) {
  AddRemembered(kPages, page->id, page->figures->page, *page->key);
  ++r->pageViews;
  page->figures->bytes += static_cast<uint32_t>(hit->bytes);
}

// The key of the hit's page text as Top URLs would list it (the URL up to
// its query unless queries are shown), when the URL is a page; with
// request, the page table's slot where it will be numbered is requested.
bool PageOf(const LogHit* hit, const ItemKey* urlKey, bool request, ItemKey* key) {
  const char* url = hit->url;
  // The Top URLs key ends where the file-type filter stops looking (it holds
  // no '?'), unless it ends at a quote: the type is what follows its last
  // '.' after its last '/'.
  bool page;
  if (urlKey && !m.showQuery && url[urlKey->length] != '"') {
    size_t i = urlKey->length;
    while (i > 0 && url[i - 1] != '.' && url[i - 1] != '/') --i;
    page = i == 0 || url[i - 1] == '/' ||
           IsPageType(std::string_view(url + i - 1, urlKey->length - i + 1));
  } else {
    page = IsPageUrl(url);
  }
  if (!page) return false;
  if (m.pages && urlKey) {
    *key = *urlKey;
  } else if (m.pages) {
    size_t length = m.showQuery ? strlen(url) : strcspn(url, "?\"");
    *key = MakeItemKey(nullptr, url, length, m.pagesIgnoreCase ? 1 : 0);
  }
  if (m.pages && request) m.pageIds.Prefetch(key->hash);
  return true;  // an empty text ("?query") is a page view that no list shows
}

void CountStatus(const LogHit* hit, PassResults* r) {
  int code = hit->status;
  if (code < 0 || code >= kStatusKeys) {
    char text[16];
    snprintf(text, sizeof text, "%d", code);
    AddTo(&r->statusCodes, kStatusCodes, text);
  } else {
    StatusKey& k = m.statusKeys[code];
    if (!k.hash) {
      snprintf(k.text, sizeof k.text, "%d", code);
      k.hash = ListHash(k.text, strlen(k.text), false);
    }
    AddKnown(kStatusCodes, static_cast<uint32_t>(code), k.node, k.text, k.hash);
  }
  ++r->statusHits;
}

// The list hashes and the robot number of a browser text, made once.
[[gnu::noinline]] AgentKeys& MakeKeysOfAgent(uint32_t id) {
  if (id >= m.agentKeys.size()) m.agentKeys.resize(id + 1);
  AgentKeys& k = m.agentKeys[id];
  const AgentClass& what = ClassifyAgentId(id);
  k.made = true;
  k.browser = ListHash(what.browser, strlen(what.browser), false);
  k.system = ListHash(what.system, strlen(what.system), false);
  if (what.robot[0]) {
    size_t length = strlen(what.robot);
    k.robot = ListHash(what.robot, length, false);
    bool added = false;
    k.robotId = static_cast<int32_t>(m.robotIds.Find(what.robot, static_cast<uint32_t>(length),
                                                     TextHash(what.robot, length), false, &added));
    if (added) m.robotFigures.push_back({});
  }
  return k;
}

AgentKeys& KeysOfAgent(uint32_t id) {
  if (id < m.agentKeys.size() && m.agentKeys[id].made) [[likely]]
    return m.agentKeys[id];
  return MakeKeysOfAgent(id);
}

// Counts a browser text's family, system or robot into its list.
[[gnu::noinline]] void AddAgentClassNode(ListIndex list, uint32_t id, NodeMemo& memo,
                                          uint32_t hash) {
  const AgentClass& what = ClassifyAgentId(id);
  const char* text = list == kFamilies ? what.browser : list == kSystems ? what.system : what.robot;
  AddAndRemember(list, memo, KnownKey(text, static_cast<uint32_t>(strlen(text)), hash, false));
}

void AddAgentClass(ListIndex list, uint32_t id, NodeMemo& memo, uint32_t hash) {
  if (!HoldForMemo(list, id, memo)) AddAgentClassNode(list, id, memo, hash);
}

NodeMemo& MemoOf(uint8_t list, uint32_t id) {
  switch (static_cast<ListIndex>(list)) {
    case kPages: return m.pageIds.PayloadOf(id).page;
    case kEntryPages: return m.pageEnds[id].entry;
    case kExitPages: return m.pageEnds[id].exit;
    case kStatusCodes: return m.statusKeys[id].node;
    case kFamilies: return m.agentKeys[id].browserNode;
    case kSystems: return m.agentKeys[id].systemNode;
    case kRobots: break;
  }
  return m.agentKeys[id].robotNode;
}

}  // namespace

bool AudienceNeedsAgents(const StatsFields* s) {
  return On(s->browserFamilies) || On(s->visitors) || On(s->pages) || On(s->robots);
}

bool AudienceWanted(const StatsFields* s) {
  return On(s->visitors) || On(s->pages) || On(s->statusCodes) || On(s->browserFamilies) ||
         On(s->robots);
}

void AudienceStart(const StatsFields* s, PassResults* r) {
  AudienceFree(r);
  m.visitors = On(s->visitors);
  m.pages = On(s->pages);
  m.statusCodes = On(s->statusCodes);
  m.families = On(s->browserFamilies);
  m.robots = On(s->robots);
  m.byAgent = AudienceNeedsAgents(s);
  m.pagesIgnoreCase = !s->findCaseSensitive;
  m.showQuery = s->showQuery != 0;
  if (m.pages) {
    init_list(&r->pages, &m.info[kPages], "Pages");
    init_list(&r->entryPages, &m.info[kEntryPages], "Entry Pages");
    init_list(&r->exitPages, &m.info[kExitPages], "Exit Pages");
  }
  if (m.statusCodes) init_list(&r->statusCodes, &m.info[kStatusCodes], "Status Codes");
  if (m.families) {
    init_list(&r->browserFamilies, &m.info[kFamilies], "Browser Families");
    init_list(&r->operatingSystems, &m.info[kSystems], "Operating Systems");
  }
  if (m.robots) init_list(&r->robots, &m.info[kRobots], "Robots");
  m.results = r;
}

void AudienceBeforeReclaim() { m.held.Flush(); }

uint32_t PrepareAudienceHit(const LogHit* hit, const char* loggedHost,
                            const AudienceHitKeys& keys) {
  if (m.preparedCount == 2) m.preparedCount = 0;  // not counted after all: forget them
  Prepared& p = m.prepared[(m.preparedFirst + m.preparedCount++) & 1];
  p.hit = hit;
  p.isPage = false;
  p.agentId = !m.byAgent          ? 0
              : keys.agentId >= 0 ? static_cast<uint32_t>(keys.agentId)
              : keys.agent        ? AgentIdOfKey(*keys.agent)
                                  : AgentId(hit->agent);
  // A robot's hits reach neither visitors nor the page table when robots
  // are kept apart.
  const bool robot = m.robots && KeysOfAgent(p.agentId).robotId >= 0;
  if ((m.visitors || m.pages) && !robot) {
    // A host seen lately with the same browser text has its visitor's slot
    // in the pass's memo.
    VisitorMemo* memo = keys.visitorMemo;
    p.memo = memo;
    p.memoStamp = memo ? memo->stamp : 0;
    p.slotKnown = memo && memo->agentPlusOne == p.agentId + 1 && memo->generation == m.generation;
    if (p.slotKnown) {
      p.slot = memo->slot;
      p.generation = memo->generation;
      __builtin_prefetch(&m.visitorTable[p.slot]);
    } else {
      HashHost(loggedHost, keys.hostHash, &p.host);
      p.visitorHash = PrefetchVisitor(p.host, p.agentId);
    }
  }
  if (m.visitors || m.pages || m.robots) p.isPage = PageOf(hit, keys.url, !robot, &p.pageKey);
  return p.agentId;
}

void CountAudienceHit(const StatsFields*, const LogHit* hit, const char* loggedHost,
                      PassResults* r) {
  if (m.preparedCount == 0 || m.prepared[m.preparedFirst].hit != hit) {
    m.preparedCount = 0;
    PrepareAudienceHit(hit, loggedHost, AudienceHitKeys{});
  }
  // Nothing prepares a hit until this one is counted.
  Prepared& prepared = m.prepared[m.preparedFirst];
  m.preparedFirst ^= 1;
  --m.preparedCount;
  uint32_t agentId = prepared.agentId;
  if (m.statusCodes) CountStatus(hit, r);
  if (!m.byAgent) return;
  AgentKeys* keys = m.families || m.robots ? &KeysOfAgent(agentId) : nullptr;
  if (m.families) {
    AddAgentClass(kFamilies, agentId, keys->browserNode, keys->browser);
    AddAgentClass(kSystems, agentId, keys->systemNode, keys->system);
    ++r->agentHits;
  }
  if (!m.visitors && !m.pages && !m.robots) return;
  PageView page{&prepared.pageKey, 0, nullptr};
  bool isPage = prepared.isPage;
  if (m.robots && keys->robotId >= 0) {
    AddAgentClass(kRobots, agentId, keys->robotNode, keys->robot);
    ++r->robotHits;
    SideFigures& f = m.robotFigures[keys->robotId];
    if (isPage) ++f.pages;
    f.bytes += static_cast<uint32_t>(hit->bytes);
    return;  // people only from here on
  }
  if (!m.visitors && !m.pages) return;
  if (m.pages && isPage) {
    NumberPage(&page);
    CountPage(hit, &page, r);
  }
  CountVisit(hit, prepared, loggedHost, isPage ? &page : nullptr, r);
}

void AudienceFinish(PassResults* r) {
  for (Visitor& v : m.visitorTable)
    if (v.tag) EndVisit(v, r);
  m.held.Flush();
}

void AudienceFree(PassResults* r) {
  for (ItemList** list : {&r->pages, &r->entryPages, &r->exitPages, &r->statusCodes,
                          &r->browserFamilies, &r->operatingSystems, &r->robots}) {
    destroy(*list);
    *list = nullptr;
  }
  for (ListInfo*& info : m.info) info = nullptr;
  m.results = nullptr;
  m.held.Clear();
  for (Prepared& p : m.prepared) p = {};
  m.preparedFirst = m.preparedCount = 0;
  m.visitorTable.Release();
  m.visitorCount = 0;
  m.hostIds.Clear();
  m.pageIds.Clear();
  m.pageEnds = {};
  m.agentKeys = {};
  m.robotIds.Clear();
  m.robotFigures = {};
  for (StatusKey& k : m.statusKeys) k = {};
  AgentsReset();
}

// The extension is what the file-type filter finds in the URL's first 243
// characters.
bool IsPageUrl(const char* url) { return IsPageType(FileTypeOf(url, strnlen(url, kWorkSize - 1))); }

double PageBytes(const char* page) {
  size_t length = strlen(page);
  int64_t id = m.pageIds.Lookup(page, static_cast<uint32_t>(length),
                                ListHash(page, length, m.pagesIgnoreCase), m.pagesIgnoreCase);
  return id < 0 ? 0 : m.pageIds.PayloadOf(static_cast<uint32_t>(id)).bytes;
}

void RobotFigures(const char* family, int32_t* pages, double* bytes) {
  size_t length = strlen(family);
  int64_t id = m.robotIds.Lookup(family, static_cast<uint32_t>(length), TextHash(family, length),
                                 false);
  *pages = id < 0 ? 0 : m.robotFigures[id].pages;
  *bytes = id < 0 ? 0 : m.robotFigures[id].bytes;
}

long AudienceMemoryBytes() {
  return static_cast<long>(m.visitorTable.Bytes()) + m.hostIds.Bytes() + m.pageIds.Bytes() + m.robotIds.Bytes() +
         static_cast<long>(m.pageEnds.capacity() * sizeof(PageEnds) +
                           m.robotFigures.capacity() * sizeof(SideFigures) +
                           m.agentKeys.capacity() * sizeof(AgentKeys) +
                           m.held.Bytes()) +
         AgentsMemoryBytes();
}

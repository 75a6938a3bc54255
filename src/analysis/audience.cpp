// Counting for the visitor, page, status-code, browser-family and robot
// sections.
//
// The item lists are the ordinary ones, so smart memory bounds them.  The
// visitor table (one entry per host and browser text) and the bytes beside
// pages and robot families are exact and outside the ceiling: a visit cut
// short by reclamation would miscount every later hit of it.  Their keys
// are built in reused buffers, so a hit of a known visitor allocates
// nothing.
#include "analysis/audience.h"

#include <strings.h>
#include <sys/mman.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "analysis/agents.h"
#include "analysis/filters.h"
#include "analysis/list.h"
#include "analysis/pass_results.h"
#include "base/fixed_text.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace {

constexpr ll::time32_t kVisitGap = 30 * 60;  // a longer pause starts a new visit
constexpr size_t kWorkSize = 244;

// One visitor in the open-addressed visitor table, 32 bytes so that a probe
// reads one cache line.  A host written as a plain dotted IPv4 address is
// kept as its four bytes, any other host as its number in hostIds, and the
// browser text as its number; the hash only finds the slot, host and agent
// are always compared, so two visitors are never merged.
struct Visitor {
  uint32_t tag;  // high half of the hash, never 0; 0 marks an empty slot
  uint32_t agent;
  uint32_t host;  // the address, or the host's number in hostIds
  uint32_t lastPage;  // the open visit's last page, an index of pageNames
  ll::time32_t visitStart;
  ll::time32_t last;
  int16_t lastDay;  // the last day this visitor was counted on
  uint8_t flags;
  uint8_t unused1;
  uint32_t unused2;
};
static_assert(sizeof(Visitor) == 32);
constexpr uint8_t kHasPage = 1;     // the open visit has an entry page
constexpr uint8_t kAddressHost = 2;  // host holds an IPv4 address

// The visitor table's memory: zeroed pages straight from the system, asked
// for as huge pages, since every hit reads one slot at random and small
// pages would make most of those reads miss the address cache as well.
class SlotArray {
 public:
  SlotArray() = default;
  SlotArray(const SlotArray&) = delete;
  SlotArray& operator=(const SlotArray&) = delete;
  ~SlotArray() { Release(); }
  void Swap(SlotArray& other) {
    std::swap(slots_, other.slots_);
    std::swap(size_, other.size_);
    std::swap(mapped_, other.mapped_);
    std::swap(mappedBytes_, other.mappedBytes_);
  }
  // Makes n empty slots; ends the process with status 1 when refused.
  void Make(size_t n) {
    Release();
    constexpr size_t kHuge = 2 << 20;
    mappedBytes_ = n * sizeof(Visitor) + kHuge;
    mapped_ = mmap(nullptr, mappedBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                   -1, 0);
    if (mapped_ == MAP_FAILED) exit(1);
    uintptr_t start = (reinterpret_cast<uintptr_t>(mapped_) + kHuge - 1) & ~(kHuge - 1);
    madvise(reinterpret_cast<void*>(start), n * sizeof(Visitor), MADV_HUGEPAGE);
    slots_ = reinterpret_cast<Visitor*>(start);
    size_ = n;
  }
  void Release() {
    if (mapped_) munmap(mapped_, mappedBytes_);
    mapped_ = nullptr;
    slots_ = nullptr;
    size_ = 0;
  }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  Visitor& operator[](size_t i) { return slots_[i]; }
  Visitor* begin() { return slots_; }
  Visitor* end() { return slots_ + size_; }

 private:
  Visitor* slots_ = nullptr;
  size_t size_ = 0;
  void* mapped_ = nullptr;
  size_t mappedBytes_ = 0;
};

// The host as one visitor-table key: an address or a host number.
struct HostKey {
  bool isAddress;
  uint32_t value;  // the address, or the host's number in hostIds
};

struct SideFigures {
  int32_t pages = 0;
  double bytes = 0;
};

// What PrepareAudienceHit worked out for the hit about to be counted.
struct Prepared {
  const LogHit* hit = nullptr;
  uint32_t agentId = 0;
  HostKey host{};
  uint64_t visitorHash = 0;
};

struct AudienceState {
  Prepared prepared;
  bool visitors = false, pages = false, statusCodes = false, families = false, robots = false;
  bool pagesIgnoreCase = false;
  bool showQuery = false;
  ListInfo* info[7] = {};
  SlotArray visitorTable;  // a power of two long, or empty
  size_t visitorCount = 0;
  std::unordered_map<std::string, uint32_t> hostIds;  // hosts that are not addresses
  std::unordered_map<std::string, uint32_t> pageIds;
  std::vector<const std::string*> pageNames;  // keys of pageIds by index
  std::vector<SideFigures> pageFigures;
  std::unordered_map<std::string, SideFigures> robotFigures;
  long bytes = 0;
  std::string key;  // reused for every lookup
  char page[kWorkSize] = {};
};

AudienceState m;

bool On(const SectionSetting& s) { return s.show != 0; }

void AddTo(ItemList** list, int info, const char* text, bool ignoreCase = false) {
  add_item(list, m.info[info], text, nullptr, nullptr, ignoreCase ? 1 : 0);
}

// The side tables' key: the list's text, folded when the list ignores case.
const std::string& SideKey(const char* text, bool fold) {
  m.key.assign(text);
  if (fold)
    for (char& c : m.key) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return m.key;
}

SideFigures& Side(std::unordered_map<std::string, SideFigures>& table, const char* text,
                  bool fold) {
  const std::string& key = SideKey(text, fold);
  auto found = table.find(key);
  if (found != table.end()) return found->second;
  m.bytes += static_cast<long>(sizeof(SideFigures) + key.size() + 64);
  return table.emplace(key, SideFigures{}).first->second;
}

// The index of a page's list text (a new one for a text not seen yet).
uint32_t PageIndex(const char* page) {
  const std::string& key = SideKey(page, m.pagesIgnoreCase);
  auto found = m.pageIds.find(key);
  if (found != m.pageIds.end()) return found->second;
  uint32_t index = static_cast<uint32_t>(m.pageNames.size());
  auto added = m.pageIds.emplace(key, index).first;
  m.pageNames.push_back(&added->first);
  m.pageFigures.push_back({});
  m.bytes += static_cast<long>(sizeof(SideFigures) + 2 * sizeof(void*) + key.size() + 64);
  return index;
}

// Ends a visitor's open visit: its exit page and its length.
void EndVisit(Visitor& v, PassResults* r) {
  if (m.pages && (v.flags & kHasPage)) {
    AddTo(&r->exitPages, 2, m.pageNames[v.lastPage]->c_str(), m.pagesIgnoreCase);
    ++r->visitEnds;
  }
  r->visitSeconds += static_cast<double>(v.last) - v.visitStart;
  v.flags &= static_cast<uint8_t>(~kHasPage);
}

// Reads a host written exactly as a dotted IPv4 address ("10.0.0.1", no
// leading zeros), the only spelling that the four bytes give back.
bool PackAddress(std::string_view text, uint32_t* address) {
  uint32_t value = 0;
  size_t at = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0) {
      if (at >= text.size() || text[at] != '.') return false;
      ++at;
    }
    size_t start = at;
    uint32_t number = 0;
    while (at < text.size() && at - start < 4 && text[at] >= '0' && text[at] <= '9')
      number = number * 10 + static_cast<uint32_t>(text[at++] - '0');
    size_t digits = at - start;
    if (digits == 0 || digits > 3 || number > 255 || (digits > 1 && text[start] == '0')) return false;
    value = value << 8 | number;
  }
  *address = value;
  return at == text.size();
}

// A host that is not an address is numbered on first sight, so that the
// visitor table compares numbers only and its slots stay small.
HostKey KeyOfHost(const char* hostText) {
  std::string_view text(hostText ? hostText : "");
  if (text.size() > 255) text = text.substr(0, 255);  // hosts are cut at 243 before this
  HostKey key{true, 0};
  if (PackAddress(text, &key.value)) return key;
  key.isAddress = false;
  m.key.assign(text);
  auto found = m.hostIds.find(m.key);
  if (found != m.hostIds.end()) {
    key.value = found->second;
  } else {
    key.value = static_cast<uint32_t>(m.hostIds.size());
    m.hostIds.emplace(m.key, key.value);
    m.bytes += static_cast<long>(sizeof(uint32_t) + m.key.size() + 64);
  }
  return key;
}

uint64_t VisitorHash(const HostKey& host, uint32_t agent) {
  uint64_t h = (host.value * 0xD6E8FEB86659FD93ULL) ^ (host.isAddress ? 0x5851F42D4C957F2DULL : 0);
  h ^= agent * 0x9E3779B97F4A7C15ULL;
  h ^= h >> 29;
  h *= 0xBF58476D1CE4E5B9ULL;
  h ^= h >> 32;
  return h;
}

uint32_t TagOf(uint64_t hash) { return static_cast<uint32_t>(hash >> 32) | 1; }

HostKey HostOf(const Visitor& v) { return {(v.flags & kAddressHost) != 0, v.host}; }

bool SameHost(const Visitor& v, const HostKey& host) {
  return v.host == host.value && ((v.flags & kAddressHost) != 0) == host.isAddress;
}

// Doubles the table (or makes its first 4096 slots).
void GrowVisitors() {
  SlotArray old;
  old.Swap(m.visitorTable);
  size_t size = old.empty() ? 4096 : old.size() * 2;
  m.visitorTable.Make(size);
  for (const Visitor& v : old) {
    if (!v.tag) continue;
    size_t at = VisitorHash(HostOf(v), v.agent) & (size - 1);
    while (m.visitorTable[at].tag) at = (at + 1) & (size - 1);
    m.visitorTable[at] = v;
  }
  m.bytes += static_cast<long>((size - old.size()) * sizeof(Visitor));
}

// Requests the slot where a visitor's search starts, so that the wait for
// memory overlaps the hit's other counting.
uint64_t PrefetchVisitor(const HostKey& host, uint32_t agent) {
  uint64_t hash = VisitorHash(host, agent);
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
  v.flags = host.isAddress ? kAddressHost : 0;
  v.host = host.value;
  ++m.visitorCount;
  return v;
}

void CountVisit(const LogHit* hit, const HostKey& host, uint32_t agent, uint64_t hash,
                const char* page, uint32_t pageIndex, PassResults* r) {
  bool isNew = false;
  Visitor& v = FindVisitor(host, agent, hash, &isNew);
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
        AddTo(&r->entryPages, 1, page, m.pagesIgnoreCase);
        v.flags |= kHasPage;
      }
      v.lastPage = pageIndex;
    }
  }
}

uint32_t CountPage(const LogHit* hit, const char* page, PassResults* r) {
  AddTo(&r->pages, 0, page, m.pagesIgnoreCase);
  ++r->pageViews;
  uint32_t index = PageIndex(page);
  m.pageFigures[index].bytes += static_cast<uint32_t>(hit->bytes);
  return index;
}

// The hit's page text as Top URLs would list it, or null for a file.
const char* PageOf(const LogHit* hit) {
  if (!IsPageUrl(hit->url)) return nullptr;
  ll::CopyText(m.page, hit->url);
  if (!m.showQuery) TruncateCGI(m.page);
  return m.page;
}

}  // namespace

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
  m.pagesIgnoreCase = !s->findCaseSensitive;
  m.showQuery = s->showQuery != 0;
  if (m.pages) {
    init_list(&r->pages, &m.info[0], "Pages");
    init_list(&r->entryPages, &m.info[1], "Entry Pages");
    init_list(&r->exitPages, &m.info[2], "Exit Pages");
  }
  if (m.statusCodes) init_list(&r->statusCodes, &m.info[3], "Status Codes");
  if (m.families) {
    init_list(&r->browserFamilies, &m.info[4], "Browser Families");
    init_list(&r->operatingSystems, &m.info[5], "Operating Systems");
  }
  if (m.robots) init_list(&r->robots, &m.info[6], "Robots");
}

void PrepareAudienceHit(const LogHit* hit, const char* loggedHost) {
  Prepared& p = m.prepared;
  p.hit = hit;
  p.agentId = m.families || m.visitors || m.pages || m.robots ? AgentId(hit->agent) : 0;
  if (m.visitors || m.pages) {
    p.host = KeyOfHost(loggedHost);
    p.visitorHash = PrefetchVisitor(p.host, p.agentId);
  }
}

void CountAudienceHit(const StatsFields*, const LogHit* hit, const char* loggedHost,
                      PassResults* r) {
  if (m.prepared.hit != hit) PrepareAudienceHit(hit, loggedHost);
  m.prepared.hit = nullptr;
  bool byAgent = m.families || m.visitors || m.pages || m.robots;
  uint32_t agentId = m.prepared.agentId;
  const HostKey& host = m.prepared.host;
  uint64_t visitorHash = m.prepared.visitorHash;
  if (m.statusCodes) {
    char code[16];
    snprintf(code, sizeof code, "%d", static_cast<int>(hit->status));
    AddTo(&r->statusCodes, 3, code);
    ++r->statusHits;
  }
  if (!byAgent) return;
  const AgentClass* agent = nullptr;
  if (m.families || m.robots) agent = &ClassifyAgentId(agentId);
  if (m.families) {
    AddTo(&r->browserFamilies, 4, agent->browser);
    AddTo(&r->operatingSystems, 5, agent->system);
    ++r->agentHits;
  }
  if (!m.visitors && !m.pages && !m.robots) return;
  const char* page = PageOf(hit);
  if (m.robots && agent->robot[0]) {
    AddTo(&r->robots, 6, agent->robot);
    ++r->robotHits;
    SideFigures& f = Side(m.robotFigures, agent->robot, false);
    if (page) ++f.pages;
    f.bytes += static_cast<uint32_t>(hit->bytes);
    return;  // people only from here on
  }
  uint32_t pageIndex = m.pages && page ? CountPage(hit, page, r) : 0;
  CountVisit(hit, host, agentId, visitorHash, page, pageIndex, r);
}

void AudienceFinish(PassResults* r) {
  for (Visitor& v : m.visitorTable)
    if (v.tag) EndVisit(v, r);
}

void AudienceFree(PassResults* r) {
  for (ItemList** list : {&r->pages, &r->entryPages, &r->exitPages, &r->statusCodes,
                          &r->browserFamilies, &r->operatingSystems, &r->robots}) {
    destroy(*list);
    *list = nullptr;
  }
  for (ListInfo*& info : m.info) info = nullptr;
  m.visitorTable.Release();
  m.visitorCount = 0;
  m.hostIds = {};
  m.pageIds = {};
  m.pageNames = {};
  m.pageFigures = {};
  m.robotFigures = {};
  m.bytes = 0;
  AgentsReset();
}

bool IsPageUrl(const char* url) {
  static constexpr const char* kPageTypes[] = {".html", ".htm", ".shtml", ".php", ".asp",
                                               ".aspx", ".jsp",  ".cgi",   ".pl"};
  char type[kWorkSize];
  ll::CopyText(type, url);
  TruncateFileType(type);
  if (type[0] == 0) return true;
  for (const char* known : kPageTypes)
    if (strcasecmp(type, known) == 0) return true;
  return false;
}

double PageBytes(const char* page) {
  auto found = m.pageIds.find(SideKey(page, m.pagesIgnoreCase));
  return found == m.pageIds.end() ? 0 : m.pageFigures[found->second].bytes;
}

void RobotFigures(const char* family, int32_t* pages, double* bytes) {
  auto found = m.robotFigures.find(SideKey(family, false));
  *pages = found == m.robotFigures.end() ? 0 : found->second.pages;
  *bytes = found == m.robotFigures.end() ? 0 : found->second.bytes;
}

long AudienceMemoryBytes() { return m.bytes + AgentsMemoryBytes(); }

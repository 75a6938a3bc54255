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

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>

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

struct Visitor {
  ll::time32_t visitStart = 0;
  ll::time32_t last = 0;
  int32_t lastDay = -1;  // the last day this visitor was counted on
  bool hasPage = false;  // the open visit has an entry page
  std::string lastPage;  // the open visit's last page
};

struct SideFigures {
  int32_t pages = 0;
  double bytes = 0;
};

struct AudienceState {
  bool visitors = false, pages = false, statusCodes = false, families = false, robots = false;
  bool pagesIgnoreCase = false;
  bool showQuery = false;
  ListInfo* info[7] = {};
  std::unordered_map<std::string, Visitor> visitorTable;
  std::unordered_map<std::string, SideFigures> pageFigures;
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

// Ends a visitor's open visit: its exit page and its length.
void EndVisit(Visitor& v, PassResults* r) {
  if (m.pages && v.hasPage) {
    AddTo(&r->exitPages, 2, v.lastPage.c_str(), m.pagesIgnoreCase);
    ++r->visitEnds;
  }
  r->visitSeconds += static_cast<double>(v.last) - v.visitStart;
  v.hasPage = false;
}

Visitor& FindVisitor(const char* host, const char* agent, bool* isNew) {
  m.key.assign(host ? host : "");
  m.key.push_back('\n');  // a host holds no line end, so the pair is unambiguous
  m.key.append(agent ? agent : "");
  auto found = m.visitorTable.find(m.key);
  *isNew = found == m.visitorTable.end();
  if (!*isNew) return found->second;
  m.bytes += static_cast<long>(sizeof(Visitor) + m.key.size() + 64);
  return m.visitorTable.emplace(m.key, Visitor{}).first->second;
}

void CountVisit(const LogHit* hit, const char* host, const char* page, PassResults* r) {
  bool isNew = false;
  Visitor& v = FindVisitor(host, hit->agent, &isNew);
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
      if (!v.hasPage) {
        AddTo(&r->entryPages, 1, page, m.pagesIgnoreCase);
        v.hasPage = true;
      }
      v.lastPage.assign(page);
    }
  }
}

void CountPage(const LogHit* hit, const char* page, PassResults* r) {
  AddTo(&r->pages, 0, page, m.pagesIgnoreCase);
  ++r->pageViews;
  Side(m.pageFigures, page, m.pagesIgnoreCase).bytes += static_cast<uint32_t>(hit->bytes);
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

void CountAudienceHit(const StatsFields*, const LogHit* hit, const char* loggedHost,
                      PassResults* r) {
  if (m.statusCodes) {
    char code[16];
    snprintf(code, sizeof code, "%d", static_cast<int>(hit->status));
    AddTo(&r->statusCodes, 3, code);
    ++r->statusHits;
  }
  const AgentClass* agent = nullptr;
  if (m.families || m.robots) agent = &ClassifyAgent(hit->agent);
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
  if (m.pages && page) CountPage(hit, page, r);
  if (m.visitors || m.pages) CountVisit(hit, loggedHost, page, r);
}

void AudienceFinish(PassResults* r) {
  for (auto& entry : m.visitorTable) EndVisit(entry.second, r);
}

void AudienceFree(PassResults* r) {
  for (ItemList** list : {&r->pages, &r->entryPages, &r->exitPages, &r->statusCodes,
                          &r->browserFamilies, &r->operatingSystems, &r->robots}) {
    destroy(*list);
    *list = nullptr;
  }
  for (ListInfo*& info : m.info) info = nullptr;
  m.visitorTable = {};
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
  auto found = m.pageFigures.find(SideKey(page, m.pagesIgnoreCase));
  return found == m.pageFigures.end() ? 0 : found->second.bytes;
}

void RobotFigures(const char* family, int32_t* pages, double* bytes) {
  auto found = m.robotFigures.find(SideKey(family, false));
  *pages = found == m.robotFigures.end() ? 0 : found->second.pages;
  *bytes = found == m.robotFigures.end() ? 0 : found->second.bytes;
}

long AudienceMemoryBytes() { return m.bytes + AgentsMemoryBytes(); }

// Matches a browser text against the three rule lists (browsers, operating
// systems, devices) in their order; the first rule that matches a list
// names the text's value for it.  The rules are compiled once per process;
// a rule that does not compile is skipped.
#include "analysis/agents.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstring>
#include <string>
#include <vector>

#include "analysis/agent_rules_table.h"
#include "analysis/list.h"
#include "analysis/text_ids.h"
#include "base/fixed_text.h"

namespace {

constexpr size_t kMaxAgent = 243;  // bytes of a browser text that count

// A rule is compiled to machine code once it has been tried on enough
// texts to pay for it: most texts are tried against most rules before one
// matches, so a month with thousands of browser texts spends its time
// there, while a short log is not kept waiting for a thousand compilations.
constexpr uint32_t kTriesBeforeMachineCode = 16;

struct CompiledRules {
  const AgentRule* rules = nullptr;
  std::vector<pcre2_code*> code;  // null for a rule that did not compile
  std::vector<uint32_t> tries;    // texts tried, up to kTriesBeforeMachineCode
  ~CompiledRules() {
    for (pcre2_code* c : code) pcre2_code_free(c);
  }
};

struct AgentsState {
  bool compiled = false;
  CompiledRules browsers, systems, devices;
  pcre2_match_data* match = nullptr;
  ~AgentsState() { pcre2_match_data_free(match); }
  struct Known {
    bool classified;
    AgentClass what;
  };
  TextIds ids;
  std::vector<Known> known;  // by id
};

AgentsState m;

void Compile(CompiledRules* out, const AgentRule* rules, int count) {
  out->rules = rules;
  out->code.resize(count);
  out->tries.assign(count, 0);
  for (int i = 0; i < count; ++i) {
    int error = 0;
    PCRE2_SIZE offset = 0;
    // Byte-wise matching: a browser text is whatever bytes a client sent,
    // and the rules' few non-ASCII letters match as their UTF-8 bytes.
    uint32_t options = rules[i].caseless ? PCRE2_CASELESS : 0;
    out->code[i] = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(rules[i].regex),
                                 PCRE2_ZERO_TERMINATED, options, &error, &offset, nullptr);
  }
}

void CompileAll() {
  Compile(&m.browsers, kBrowserRules, kBrowserRulesCount);
  Compile(&m.systems, kSystemRules, kSystemRulesCount);
  Compile(&m.devices, kDeviceRules, kDeviceRulesCount);
  m.match = pcre2_match_data_create(20, nullptr);
  m.compiled = true;
}

// The text of group n of the last match, "" when it did not take part.
std::string Group(const char* subject, int n, int groups) {
  if (n >= groups) return "";
  PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(m.match);
  if (ovector[2 * n] == PCRE2_UNSET) return "";
  return std::string(subject + ovector[2 * n], ovector[2 * n + 1] - ovector[2 * n]);
}

// The replacement with $1..$9 filled from the last match, trimmed.
std::string Fill(const char* replacement, const char* subject, int groups) {
  std::string out;
  for (const char* p = replacement; *p; ++p) {
    if (p[0] == '$' && p[1] >= '1' && p[1] <= '9') {
      out += Group(subject, p[1] - '0', groups);
      ++p;
    } else {
      out += *p;
    }
  }
  size_t first = out.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return out.substr(first, out.find_last_not_of(' ') - first + 1);
}

// Index of the first rule of list that matches subject, or -1; the match
// stays in m.match, its group count in *groups.
int FirstMatch(CompiledRules& list, const char* subject, size_t length, int* groups) {
  for (size_t i = 0; i < list.code.size(); ++i) {
    if (!list.code[i]) continue;
    // Machine code matches as the interpreter does; when it cannot be made
    // the interpreter goes on.
    if (list.tries[i] < kTriesBeforeMachineCode && ++list.tries[i] == kTriesBeforeMachineCode)
      pcre2_jit_compile(list.code[i], PCRE2_JIT_COMPLETE);
    int rc = pcre2_match(list.code[i], reinterpret_cast<PCRE2_SPTR>(subject), length, 0, 0,
                         m.match, nullptr);
    if (rc == PCRE2_ERROR_JIT_STACKLIMIT)  // the interpreter has room to go on
      rc = pcre2_match(list.code[i], reinterpret_cast<PCRE2_SPTR>(subject), length, 0,
                       PCRE2_NO_JIT, m.match, nullptr);
    if (rc == 0) rc = 20;  // more groups than the match data holds: use what it has
    if (rc > 0) {
      *groups = rc;
      return static_cast<int>(i);
    }
  }
  return -1;
}

// Family and major version by the first rule of list that matches.
std::string Name(CompiledRules& list, const char* subject, size_t length,
                 std::string* family) {
  int groups = 0;
  int i = FirstMatch(list, subject, length, &groups);
  if (i < 0) {
    *family = "Other";
    return "Other";
  }
  const AgentRule& rule = list.rules[i];
  *family = rule.replacement ? Fill(rule.replacement, subject, groups) : Group(subject, 1, groups);
  if (family->empty()) *family = "Other";
  std::string version =
      rule.version ? Fill(rule.version, subject, groups) : Group(subject, 2, groups);
  return version.empty() ? *family : *family + " " + version;
}

AgentClass Classify(const char* agent) {
  if (!m.compiled) CompileAll();
  size_t length = strlen(agent);
  AgentClass c{};
  std::string family, systemFamily, device;
  std::string browser = Name(m.browsers, agent, length, &family);
  std::string system = Name(m.systems, agent, length, &systemFamily);
  Name(m.devices, agent, length, &device);
  ll::CopyText(c.browser, sizeof c.browser, browser.c_str(), browser.size());
  ll::CopyText(c.system, sizeof c.system, system.c_str(), system.size());
  if (device == "Spider") ll::CopyText(c.robot, sizeof c.robot, family.c_str(), family.size());
  return c;
}

}  // namespace

uint32_t AgentIdOfKey(const ItemKey& key) {
  bool added = false;
  uint32_t hash = key.hashFolded ? MakeItemKey(nullptr, key.text, key.length, 0).hash : key.hash;
  uint32_t id = m.ids.Find(key.text, key.length, hash, false, &added);
  if (added) m.known.push_back({false, {}});
  return id;
}

uint32_t AgentId(const char* agent) {
  if (!agent) agent = "";
  return AgentIdOfKey(MakeItemKey(nullptr, agent, strnlen(agent, kMaxAgent), 0));
}

const AgentClass& ClassifyAgentId(uint32_t id) {
  AgentsState::Known& k = m.known[id];
  if (!k.classified) {
    k.what = Classify(m.ids.Text(id));
    k.classified = true;
  }
  return k.what;
}

long AgentsMemoryBytes() {
  return m.ids.Bytes() + static_cast<long>(m.known.capacity() * sizeof(AgentsState::Known));
}

void AgentsReset() {
  m.known = {};
  m.ids.Clear();
}

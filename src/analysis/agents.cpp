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
  // What every match of rule i contains (lower case for a caseless rule),
  // laid out flat: its choices are numbered from choiceStart[i] up to
  // choiceStart[i + 1], and choice c is texts[textStart[c], textStart[c +
  // 1]).  A browser text that holds none of the texts of a choice is not
  // tried.
  std::vector<uint32_t> choiceStart{0};
  std::vector<uint32_t> textStart{0};
  struct Text {
    uint32_t offset;  // in bytes
    uint16_t length;
    uint16_t firstTwo;  // its first two bytes, for the quick test
  };
  std::vector<Text> texts;
  std::string bytes;
  ~CompiledRules() {
    for (pcre2_code* c : code) pcre2_code_free(c);
  }
};

// The byte pairs that a browser text holds, as it is and lower-cased: a
// required text whose first two bytes are not there need not be searched.
struct PairSet {
  uint64_t bits[1024];
  void Make(const char* text, size_t length) {
    memset(bits, 0, sizeof bits);
    for (size_t i = 0; i + 1 < length; ++i) {
      const unsigned pair = static_cast<unsigned char>(text[i]) |
                            static_cast<unsigned>(static_cast<unsigned char>(text[i + 1])) << 8;
      bits[pair >> 6] |= uint64_t{1} << (pair & 63);
    }
  }
  bool Has(unsigned pair) const { return bits[pair >> 6] >> (pair & 63) & 1; }
};

struct AgentsState {
  bool compiled = false;
  PairSet pairs, lowerPairs;
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

// The end of the quantifier that starts at re[at] ("?", "*", "+", "{2}",
// "{0,3}", with a lazy or possessive mark), or `at` when none starts there;
// *optional tells whether it allows no repeat.
size_t QuantifierEnd(const std::string& re, size_t at, bool* optional) {
  size_t end = at;
  if (re[at] == '?' || re[at] == '*' || re[at] == '+') {
    *optional = re[at] != '+';
    end = at + 1;
  } else if (re[at] == '{') {
    size_t i = at + 1, least = i;
    while (isdigit(static_cast<unsigned char>(re[i]))) ++i;
    bool hasLeast = i > least;
    least = hasLeast ? std::stoul(re.substr(least, i - least)) : 0;
    if (re[i] == ',') {
      ++i;
      while (isdigit(static_cast<unsigned char>(re[i]))) ++i;
    } else if (!hasLeast) {
      return at;  // "{" alone or "{x": a plain brace
    }
    if (re[i] != '}') return at;
    *optional = least == 0;
    end = i + 1;
  }
  if (end > at && (re[end] == '?' || re[end] == '+')) ++end;
  return end;
}

// The end of the group or class that starts at re[at], or npos when it
// does not end.
size_t BracketEnd(const std::string& re, size_t at) {
  int depth = 0;
  for (size_t i = at; i < re.size(); ++i) {
    if (re[i] == '\\') {
      ++i;
    } else if (re[i] == '[') {
      size_t j = i + 1;
      if (re[j] == '^') ++j;
      if (re[j] == ']') ++j;  // a leading ']' is a member
      for (; j < re.size() && re[j] != ']'; ++j) {
        if (re[j] == '[' && re[j + 1] == ':') return std::string::npos;  // [:alpha:]: not read
        if (re[j] == '\\') ++j;
      }
      if (j >= re.size()) return std::string::npos;
      if (re[at] == '[') return j + 1;
      i = j;
    } else if (re[i] == '(') {
      ++depth;
    } else if (re[i] == ')' && --depth == 0) {
      return i + 1;
    }
  }
  return std::string::npos;
}

// Finds the runs of bytes that every match of re[begin, end) contains.
// Only what is plainly understood is read, and everything else ends a run
// or gives up: classes, dots, anchors, class escapes and groups with an
// alternative end a run; a group without one is read as part of the
// sequence (on its own when it may repeat, not at all when it may be left
// out); a byte that may be left out ends the run before it, one that may
// repeat the run after it.  An alternative at the top level, or a group
// with alternatives that may not be left out, is a choice: every match
// holds the longest run of one of its alternatives, when each has one.  An
// option setting or another escape gives up.
class RequiredRuns {
 public:
  explicit RequiredRuns(const std::string& re) : re_(re) {}
  std::string Longest() {
    if (!Read(0, re_.size())) return "";
    EndRun();
    return best_;
  }
  // The longest run first, then the choices, then the other runs of more
  // than one byte.
  std::vector<RequiredAnyOf> All() {
    if (Alternative(0, re_.size()) != re_.size()) {
      Choice(0, re_.size());
      return choices_;
    }
    if (!Read(0, re_.size())) return {};
    EndRun();
    std::vector<RequiredAnyOf> all;
    if (!best_.empty()) all.push_back({best_});
    all.insert(all.end(), choices_.begin(), choices_.end());
    bool bestSeen = false;
    for (const std::string& run : runs_) {
      if (run == best_ && !bestSeen) bestSeen = true;
      else if (run.size() > 1) all.push_back({run});
    }
    return all;
  }

 private:
  void EndRun() {
    if (run_.size() > best_.size()) best_ = run_;
    if (!run_.empty()) runs_.push_back(run_);
    run_.clear();
  }
  // Records the alternatives of re[begin, end) as a choice, when every one
  // has a run of its own.
  void Choice(size_t begin, size_t end) {
    RequiredAnyOf texts;
    for (size_t a = begin;;) {
      const size_t b = Alternative(a, end);
      const std::string alternative = re_.substr(a, b - a);
      std::string run = RequiredRuns(alternative).Longest();
      if (run.empty()) return;
      texts.push_back(std::move(run));
      if (b >= end) break;
      a = b + 1;
    }
    choices_.push_back(std::move(texts));
  }
  // The index of a '|' at the top level of re[begin, end), or end.
  size_t Alternative(size_t begin, size_t end) const {
    for (size_t i = begin; i < end;) {
      if (re_[i] == '|') return i;
      if (re_[i] == '\\') i += 2;
      else if (re_[i] == '(' || re_[i] == '[') i = BracketEnd(re_, i);
      else ++i;
    }
    return end;
  }
  bool Read(size_t begin, size_t end) {
    if (Alternative(begin, end) != end) return false;
    for (size_t i = begin; i < end;) {
      char c = re_[i];
      bool literal = false;
      size_t next = i + 1;
      size_t innerBegin = 0;  // a group read as part of the sequence
      size_t choiceBegin = 0;  // a group with alternatives
      if (c == ')' || c == '?' || c == '*' || c == '+') return false;
      if (c == '(') {
        innerBegin = i + 1;
        if (re_[i + 1] == '?') {
          char kind = re_[i + 2];
          bool around = kind == '=' || kind == '!' ||
                        (kind == '<' && (re_[i + 3] == '=' || re_[i + 3] == '!'));
          if (kind != ':' && !around) return false;
          innerBegin = around ? 0 : i + 3;
        }
        next = BracketEnd(re_, i);
        if (next == std::string::npos || next > end) return false;
        if (innerBegin && Alternative(innerBegin, next - 1) != next - 1) {
          choiceBegin = innerBegin;
          innerBegin = 0;
        }
      } else if (c == '[') {
        next = BracketEnd(re_, i);
        if (next == std::string::npos || next > end) return false;
      } else if (c == '\\') {
        char e = re_[i + 1];
        if (!e || (isalnum(static_cast<unsigned char>(e)) && !strchr("dDwWsSbBhHvVN", e)))
          return false;
        literal = !isalnum(static_cast<unsigned char>(e));
        c = e;
        next = i + 2;
      } else if (c == '{') {
        bool unused = false;
        if (QuantifierEnd(re_, i, &unused) != i) return false;
        literal = true;
      } else {
        literal = c != '.' && c != '^' && c != '$';
      }
      bool optional = false;
      size_t after = QuantifierEnd(re_, next, &optional);
      bool quantified = after > next;
      if (after > end) return false;
      if (innerBegin && !(quantified && optional)) {
        if (quantified) EndRun();
        if (!Read(innerBegin, next - 1)) return false;
        if (quantified) EndRun();
      } else if (!literal || (quantified && optional)) {
        EndRun();
        if (choiceBegin && !(quantified && optional)) Choice(choiceBegin, next - 1);
      } else {
        run_ += c;
        if (quantified) EndRun();
      }
      i = after;
    }
    return true;
  }

  const std::string& re_;
  std::string run_, best_;
  std::vector<std::string> runs_;
  std::vector<RequiredAnyOf> choices_;
};

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// A rule's code is made when a text first gets as far as trying the rule.
void Compile(CompiledRules* out, const AgentRule* rules, int count) {
  out->rules = rules;
  out->code.assign(count, nullptr);
  out->tries.assign(count, 0);
  for (int i = 0; i < count; ++i) {
    for (RequiredAnyOf& anyOf : RequiredTexts(rules[i].regex)) {
      // A choice with a text of one byte is left out: nearly every browser
      // text holds one of those, so it would only cost time.
      bool single = false;
      for (const std::string& text : anyOf) single = single || text.size() < 2;
      if (single) continue;
      for (std::string& text : anyOf) {
        if (rules[i].caseless)
          for (char& c : text) c = LowerAscii(c);
        const uint16_t firstTwo = static_cast<uint16_t>(
            static_cast<unsigned char>(text[0]) | static_cast<unsigned char>(text[1]) << 8);
        out->texts.push_back({static_cast<uint32_t>(out->bytes.size()),
                              static_cast<uint16_t>(text.size()), firstTwo});
        out->bytes += text;
      }
      out->textStart.push_back(static_cast<uint32_t>(out->texts.size()));
    }
    out->choiceStart.push_back(static_cast<uint32_t>(out->textStart.size() - 1));
  }
}

pcre2_code* CompileRule(const AgentRule& rule) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  // Byte-wise matching: a browser text is whatever bytes a client sent,
  // and the rules' few non-ASCII letters match as their UTF-8 bytes.
  uint32_t options = rule.caseless ? PCRE2_CASELESS : 0;
  return pcre2_compile(reinterpret_cast<PCRE2_SPTR>(rule.regex), PCRE2_ZERO_TERMINATED, options,
                       &error, &offset, nullptr);
}

bool Contains(const char* text, size_t length, const char* part, size_t partLength) {
  if (partLength > length) return false;
  const char* last = text + (length - partLength);
  for (const char* p = text; p <= last; ++p) {
    p = static_cast<const char*>(memchr(p, part[0], static_cast<size_t>(last - p) + 1));
    if (!p) return false;
    if (memcmp(p, part, partLength) == 0) return true;
  }
  return false;
}

// Whether text (length bytes, its byte pairs in pairs) holds one of the
// texts of each choice of rule i.
bool HoldsRequired(const CompiledRules& list, size_t i, const char* text, size_t length,
                   const PairSet& pairs) {
  for (uint32_t c = list.choiceStart[i]; c < list.choiceStart[i + 1]; ++c) {
    bool held = false;
    for (uint32_t t = list.textStart[c]; t < list.textStart[c + 1] && !held; ++t) {
      const CompiledRules::Text& part = list.texts[t];
      held = pairs.Has(part.firstTwo) &&
             Contains(text, length, list.bytes.data() + part.offset, part.length);
    }
    if (!held) return false;
  }
  return true;
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
int FirstMatch(CompiledRules& list, const char* subject, size_t length, const std::string& lower,
               int* groups) {
  for (size_t i = 0; i < list.code.size(); ++i) {
    const bool caseless = list.rules[i].caseless;
    if (!HoldsRequired(list, i, caseless ? lower.data() : subject, length,
                       caseless ? m.lowerPairs : m.pairs))
      continue;
    if (list.tries[i] == 0) list.code[i] = CompileRule(list.rules[i]);
    // Machine code matches as the interpreter does; when it cannot be made
    // the interpreter goes on.
    if (list.tries[i] < kTriesBeforeMachineCode && ++list.tries[i] == kTriesBeforeMachineCode &&
        list.code[i])
      pcre2_jit_compile(list.code[i], PCRE2_JIT_COMPLETE);
    if (!list.code[i]) continue;  // a rule that does not compile is skipped
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
std::string Name(CompiledRules& list, const char* subject, size_t length, const std::string& lower,
                 std::string* family) {
  int groups = 0;
  int i = FirstMatch(list, subject, length, lower, &groups);
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
  std::string lower(agent, length);
  for (char& ch : lower) ch = LowerAscii(ch);
  m.pairs.Make(agent, length);
  m.lowerPairs.Make(lower.data(), length);
  std::string browser = Name(m.browsers, agent, length, lower, &family);
  std::string system = Name(m.systems, agent, length, lower, &systemFamily);
  Name(m.devices, agent, length, lower, &device);
  ll::CopyText(c.browser, sizeof c.browser, browser.c_str(), browser.size());
  ll::CopyText(c.system, sizeof c.system, system.c_str(), system.size());
  if (device == "Spider") ll::CopyText(c.robot, sizeof c.robot, family.c_str(), family.size());
  return c;
}

}  // namespace

std::vector<RequiredAnyOf> RequiredTexts(const std::string& regex) {
  return RequiredRuns(regex).All();
}

uint32_t AgentIdOfKey(const ItemKey& key) {
  bool added = false;
  uint32_t hash = key.hashFolded ? MakeItemKey(nullptr, key.text, key.length, 0).hash : key.hash;
  uint32_t id = m.ids.Find(key.text, key.length, hash, false, &added);
  if (added) m.known.push_back({false, {}});
  return id;
}

bool AgentIdIs(uint32_t id, const char* agent, size_t length) {
  return id < m.ids.size() && m.ids.Length(id) == length &&
         memcmp(m.ids.Text(id), agent, length) == 0;
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

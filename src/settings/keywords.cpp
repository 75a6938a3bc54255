#include "settings/keywords.h"

#include <strings.h>

#include <cstring>
#include <type_traits>

#include "cgi/cgi_env.h"
#include "settings/atoi32.h"
#include "settings/check_params.h"
#include "settings/extra_text.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

// The keyword table keeps no state: the ranks of the ranked settings live
// with their setters (log reader, extra texts).

namespace {

// Name and value of one word each hold at most this many characters.
constexpr size_t kWordPartMax = 243;

// Which sources may use a keyword.
enum class Source { kAny, kFormOnly, kIniOnly };

// One word, split and classified, as the keyword handlers see it.
struct ParamWord {
  char name[kWordPartMax + 1];
  char value[kWordPartMax + 1];
  size_t fullValueLength;  // length before the cut, for limits such as base's
  bool fromForm;           // source name "form"
  bool fromIni;            // source name "ini"
  bool fromWebRequest;     // "form" while the program runs under a web server
  int32_t rank;
};

using Handler = void (*)(const ParamWord& word, StatsFields* settings);

struct Keyword {
  const char* name;
  Source source;
  Handler apply;
};

// Splits word at its first '='.  Every later '=' is dropped from the value;
// both sides are cut at 243 characters.
void SplitWord(const char* word, ParamWord* out) {
  const char* equals = strchr(word, '=');
  size_t nameLength = equals ? static_cast<size_t>(equals - word) : strlen(word);
  ll::CopyText(out->name, sizeof out->name, word, nameLength);
  size_t kept = 0;
  size_t full = 0;
  for (const char* p = equals ? equals + 1 : ""; *p; ++p) {
    if (*p == '=') continue;
    if (kept < kWordPartMax) out->value[kept++] = *p;
    ++full;
  }
  out->value[kept] = 0;
  out->fullValueLength = full;
}

bool EndsWithPercent(const char* text) {
  size_t n = strlen(text);
  return n > 0 && text[n - 1] == '%';
}

// Handlers shared by many rows, parameterised by the field they write.

template <auto Field>
void SetText(const ParamWord& w, StatsFields* s) {
  (s->*Field).set(w.value);
}

template <auto Field>
void SetNumber(const ParamWord& w, StatsFields* s) {
  // The 8-bit switches keep the low 8 bits of the number.
  using Target = std::remove_reference_t<decltype(s->*Field)>;
  s->*Field = static_cast<Target>(Atoi32(w.value));
}

// "show[,top[,greater]]".
template <SectionSetting StatsFields::*Section>
void SetSection(const ParamWord& w, StatsFields* s) {
  SectionSetting& section = s->*Section;
  char field[kWordPartMax + 1];
  section.show = Atoi32(w.value);
  if (w.value[0] == 0) return;
  ReturnValue(field, sizeof field, w.value, 2);
  section.top = Atoi32(field);
  if (EndsWithPercent(field)) section.topIsPercent = 1;
  if (strchr(w.value, ',') == nullptr) return;  // one field only: greater stays
  ReturnValue(field, sizeof field, w.value, 3);
  section.greater = Atoi32(field);
}

template <SectionSetting StatsFields::*Section>
void SetSectionTop(const ParamWord& w, StatsFields* s) {
  (s->*Section).top = Atoi32(w.value);
  if (EndsWithPercent(w.value)) (s->*Section).topIsPercent = 1;
}

template <SectionSetting StatsFields::*Section>
void SetSectionGreater(const ParamWord& w, StatsFields* s) {
  (s->*Section).greater = Atoi32(w.value);
}

// Handlers with a rule of their own.

// A request may only fill an empty realm or user; an account always sets it.
template <auto Field>
void SetAuthText(const ParamWord& w, StatsFields* s) {
  if (w.fromIni || (s->*Field).empty()) (s->*Field).set(w.value);
}

// A file name that a web request gives (config, summary) is taken only when
// it names a file in the working folder (config) or the logs folder
// (summary): no '/' and no leading '.'.  Otherwise the word is ignored.
// The configuration file and a shell run may name any path.
template <auto Field>
void SetRequestFileName(const ParamWord& w, StatsFields* s) {
  if (w.fromWebRequest && (strchr(w.value, '/') || w.value[0] == '.')) return;
  (s->*Field).set(w.value);
}

// The request's and the account's find are kept apart; CheckParams joins them.
void SetFind(const ParamWord& w, StatsFields* s) {
  if (w.fromForm) {
    s->formFind.set(w.value);
  } else {
    s->accountFind.set(w.value);
  }
}

void SetUrl(const ParamWord& w, StatsFields* s) {
  s->url.set(w.value);
  size_t n = s->url.size();
  if (n > 0 && s->url.s[n - 1] == '/') s->url.s[n - 1] = 0;
}

void SetStartYear(const ParamWord& w, StatsFields* s) {
  s->startYear = StrToYear4(w.value, s->startYear);
}

void SetEndYear(const ParamWord& w, StatsFields* s) {
  s->endYear = StrToYear4(w.value, s->endYear);
}

void SetDate(const ParamWord& w, StatsFields* s) {
  char field[kWordPartMax + 1];
  ReturnValue(field, sizeof field, w.value, 1);
  s->dateStart.set(field);
  ReturnValue(field, sizeof field, w.value, 2);
  s->dateEnd.set(field);
}

// A base longer than the field is ignored rather than cut into a wrong URL.
void SetBase(const ParamWord& w, StatsFields* s) {
  if (w.fullValueLength >= 1 && w.fullValueLength <= kWordPartMax) s->base.set(w.value);
}

void SetFixGmt(const ParamWord& w, StatsFields*) { SuperLog_SetFixGmt(w.value, w.rank); }
void SetDateFormat(const ParamWord& w, StatsFields*) { SuperLog_SetDateFormat(w.value, w.rank); }
void SetLogFormat(const ParamWord& w, StatsFields*) { SuperLog_SetLogFormat(w.value, w.rank); }
void SetExtraFooter(const ParamWord& w, StatsFields* s) { log_SetExtraFooter(w.value, w.rank, s); }
void SetExtraHeader(const ParamWord& w, StatsFields* s) { log_SetExtraHeader(w.value, w.rank, s); }

// Remembers which ranks asked for debugging output (CheckParams reads it).
void SetDebug(const ParamWord& w, StatsFields* s) {
  s->debug = Atoi32(w.value);
  if (w.rank >= 0 && w.rank < 31) s->debugSources |= 1 << w.rank;
}

void SetSmartMemoryDisabled(const ParamWord& w, StatsFields* s) {
  s->smartMemoryDisabled = Atoi32(w.value);
  if (s->smartMemoryDisabled != 0) s->smartMemoryEnabled = 0;
}

// Matching order matters only for "password", whose two rows differ by source.
const Keyword kKeywords[] = {
    {"config", Source::kFormOnly, SetRequestFileName<&StatsFields::configFile>},
    {"password", Source::kIniOnly, SetText<&StatsFields::accountPassword>},
    {"AccessLog", Source::kIniOnly, SetText<&StatsFields::accessLog>},
    {"logs", Source::kIniOnly, SetText<&StatsFields::logs>},
    {"authrealm", Source::kAny, SetAuthText<&StatsFields::authRealm>},
    {"authuser", Source::kAny, SetAuthText<&StatsFields::authUser>},
    {"showquery", Source::kAny, SetNumber<&StatsFields::showQuery>},
    {"summary", Source::kAny, SetRequestFileName<&StatsFields::summary>},
    {"username", Source::kFormOnly, SetText<&StatsFields::username>},
    {"password", Source::kFormOnly, SetText<&StatsFields::password>},
    {"find", Source::kAny, SetFind},
    {"find_casesensitive", Source::kAny, SetNumber<&StatsFields::findCaseSensitive>},
    {"find_pattern", Source::kAny, SetNumber<&StatsFields::findPattern>},
    {"title", Source::kAny, SetText<&StatsFields::title>},
    {"url", Source::kAny, SetUrl},
    {"sm", Source::kAny, SetText<&StatsFields::startMonth>},
    {"sd", Source::kAny, SetText<&StatsFields::startDay>},
    {"sy", Source::kAny, SetStartYear},
    {"em", Source::kAny, SetText<&StatsFields::endMonth>},
    {"ed", Source::kAny, SetText<&StatsFields::endDay>},
    {"ey", Source::kAny, SetEndYear},
    {"date", Source::kAny, SetDate},
    {"filter_domains", Source::kAny, SetText<&StatsFields::filterDomains>},
    {"filter_filetypes", Source::kAny, SetText<&StatsFields::filterFileTypes>},
    {"badurls", Source::kAny, SetSection<&StatsFields::badUrls>},
    {"badurls_top", Source::kAny, SetSectionTop<&StatsFields::badUrls>},
    {"badurls_greater", Source::kAny, SetSectionGreater<&StatsFields::badUrls>},
    {"browsers", Source::kAny, SetSection<&StatsFields::browsers>},
    {"browsers_top", Source::kAny, SetSectionTop<&StatsFields::browsers>},
    {"browsers_greater", Source::kAny, SetSectionGreater<&StatsFields::browsers>},
    {"requests", Source::kAny, SetSection<&StatsFields::requests>},
    {"requests_top", Source::kAny, SetSectionTop<&StatsFields::requests>},
    {"requests_greater", Source::kAny, SetSectionGreater<&StatsFields::requests>},
    {"search", Source::kAny, SetSection<&StatsFields::search>},
    {"search_top", Source::kAny, SetSectionTop<&StatsFields::search>},
    {"search_greater", Source::kAny, SetSectionGreater<&StatsFields::search>},
    {"search_casesensitive", Source::kAny, SetNumber<&StatsFields::searchCaseSensitive>},
    {"badreferrers", Source::kAny, SetSection<&StatsFields::badReferrers>},
    {"badreferrers_top", Source::kAny, SetSectionTop<&StatsFields::badReferrers>},
    {"badreferrers_greater", Source::kAny, SetSectionGreater<&StatsFields::badReferrers>},
    {"badurl_referrers", Source::kAny, SetNumber<&StatsFields::badUrlReferrers>},
    {"filter_referrers", Source::kAny, SetNumber<&StatsFields::filterReferrers>},
    {"subdirs", Source::kAny, SetNumber<&StatsFields::subdirs>},
    {"domaintypes", Source::kAny, SetSection<&StatsFields::domainTypes>},
    {"domaintypes_top", Source::kAny, SetSectionTop<&StatsFields::domainTypes>},
    {"domaintypes_greater", Source::kAny, SetSectionGreater<&StatsFields::domainTypes>},
    {"domains", Source::kAny, SetSection<&StatsFields::domains>},
    {"domains_top", Source::kAny, SetSectionTop<&StatsFields::domains>},
    {"domains_greater", Source::kAny, SetSectionGreater<&StatsFields::domains>},
    {"dailytotals", Source::kAny, SetNumber<&StatsFields::dailyTotals>},
    {"hitsperdayofweek", Source::kAny, SetNumber<&StatsFields::hitsPerDayOfWeek>},
    {"hitsperhour", Source::kAny, SetNumber<&StatsFields::hitsPerHour>},
    {"referrers", Source::kAny, SetSection<&StatsFields::referrers>},
    {"referrers_top", Source::kAny, SetSectionTop<&StatsFields::referrers>},
    {"referrers_greater", Source::kAny, SetSectionGreater<&StatsFields::referrers>},
    {"visitors", Source::kAny, SetSection<&StatsFields::visitors>},
    {"visitors_top", Source::kAny, SetSectionTop<&StatsFields::visitors>},
    {"visitors_greater", Source::kAny, SetSectionGreater<&StatsFields::visitors>},
    {"pages", Source::kAny, SetSection<&StatsFields::pages>},
    {"pages_top", Source::kAny, SetSectionTop<&StatsFields::pages>},
    {"pages_greater", Source::kAny, SetSectionGreater<&StatsFields::pages>},
    {"statuscodes", Source::kAny, SetSection<&StatsFields::statusCodes>},
    {"statuscodes_top", Source::kAny, SetSectionTop<&StatsFields::statusCodes>},
    {"statuscodes_greater", Source::kAny, SetSectionGreater<&StatsFields::statusCodes>},
    {"browserfamilies", Source::kAny, SetSection<&StatsFields::browserFamilies>},
    {"browserfamilies_top", Source::kAny, SetSectionTop<&StatsFields::browserFamilies>},
    {"browserfamilies_greater", Source::kAny, SetSectionGreater<&StatsFields::browserFamilies>},
    {"robots", Source::kAny, SetSection<&StatsFields::robots>},
    {"robots_top", Source::kAny, SetSectionTop<&StatsFields::robots>},
    {"robots_greater", Source::kAny, SetSectionGreater<&StatsFields::robots>},
    {"base", Source::kAny, SetBase},
    {"fixgmt", Source::kAny, SetFixGmt},
    {"dateformat", Source::kAny, SetDateFormat},
    {"logformat", Source::kAny, SetLogFormat},
    {"extrafooter", Source::kAny, SetExtraFooter},
    {"extraheader", Source::kAny, SetExtraHeader},
    {"priority", Source::kAny, SetNumber<&StatsFields::priority>},
    {"debug", Source::kAny, SetDebug},
    {"dnslookupenabled", Source::kAny, SetNumber<&StatsFields::dnsLookupEnabled>},
    {"smartmemorydisabled", Source::kFormOnly, SetSmartMemoryDisabled},
    {"flushtoserver", Source::kAny, SetNumber<&StatsFields::flushToServer>},
};

bool SourceAllows(Source rule, const ParamWord& w) {
  switch (rule) {
    case Source::kAny: return true;
    case Source::kFormOnly: return w.fromForm;
    case Source::kIniOnly: return w.fromIni;
  }
  return false;
}

}  // namespace

void CompareParam(const char* word, StatsFields* settings, CgiEnv* env,
                  const char* sourceName, int32_t rank) {
  if (!word || !settings) return;
  ParamWord w;
  SplitWord(word, &w);
  w.fromForm = sourceName && strcasecmp(sourceName, "form") == 0;
  w.fromIni = sourceName && strcasecmp(sourceName, "ini") == 0;
  w.fromWebRequest = w.fromForm && env && !env->commandLine;
  w.rank = rank;
  for (const Keyword& keyword : kKeywords) {
    if (strcasecmp(w.name, keyword.name) == 0 && SourceAllows(keyword.source, w)) {
      keyword.apply(w, settings);
      return;
    }
  }
}

void ReturnValue(char* out, size_t outSize, const char* text, int n) {
  if (outSize == 0) return;
  out[0] = 0;
  if (!text || text[0] == 0 || n < 1) return;
  const char* start = text;
  for (int field = 1; field < n; ++field) {
    start = strchr(start, ',');
    if (!start) return;  // fewer fields than n
    ++start;
  }
  size_t length = strcspn(start, ",");
  ll::CopyText(out, outSize, start, length);
}

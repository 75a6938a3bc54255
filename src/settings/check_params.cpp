#include "settings/check_params.h"

#include <cstdio>
#include <cstring>

#include "cgi/cgi_env.h"
#include "report/errors.h"
#include "settings/atoi32.h"
#include "settings/stats_fields.h"

// No module state: validation reads and completes the settings it is given.

namespace {

constexpr size_t kFindMax = 243;
// Debugging asked for by the form or command line alone (rank 2's bit).
constexpr int32_t kDebugFromRequestOnly = 1 << kSourceForm;

// Builds a date text "MMDD" + year from the month, day and year fields.
template <size_t N>
void BuildDateText(ll::FixedText<N>& out, const char* month, const char* day, int32_t year) {
  snprintf(out.data(), N, "%s%s%d", month, day, year);
}

// Fills dateStart and dateEnd from the sm/sd/sy and em/ed/ey fields where
// no `date` gave them.  Without a whole end date the report is one day long.
void CompleteDates(StatsFields* s) {
  if (s->dateStart.empty()) {
    BuildDateText(s->dateStart, s->startMonth.c_str(), s->startDay.c_str(), s->startYear);
  }
  if (!s->dateEnd.empty()) return;
  if (!s->endMonth.empty() && !s->endDay.empty() && s->endYear > 1900) {
    BuildDateText(s->dateEnd, s->endMonth.c_str(), s->endDay.c_str(), s->endYear);
  } else {
    BuildDateText(s->dateEnd, s->startMonth.c_str(), s->startDay.c_str(), s->startYear);
  }
}

// The account's find always leads, so a request can only narrow it.
void BuildFind(StatsFields* s) {
  const char* account = s->accountFind.c_str();
  const char* form = s->formFind.c_str();
  if (account[0] && form[0]) {
    size_t accountLength = strlen(account);
    if (account[accountLength - 1] == '/' && form[0] == '/') ++form;
    s->find.set(account);
    s->find.append(form);  // the form's part is cut at the field's 243 characters
  } else if (account[0]) {
    s->find.set(account);
  } else {
    s->find.set(form);
  }
  if (s->find.empty()) s->find.set("/");
}

// Reads at most `count` characters of text from `from` with atoi rules.
int32_t NumberAt(const char* text, size_t from, size_t count) {
  size_t length = strlen(text);
  if (from >= length) return 0;
  char part[32];
  ll::CopyText(part, count < sizeof part ? count + 1 : sizeof part, text + from);
  return Atoi32(part);
}

// The date text as the number YYYYMMDD (atoi rules, so it stays 32-bit).
int32_t SortableDate(int month, int day, int year) {
  char text[40];
  MakeMaxName(text, sizeof text, month, day, year);
  return Atoi32(text);
}

}  // namespace

static_assert(kFindMax == ll::FixedText<244>::kCapacity);

int StrToYear4(const char* text, int current) {
  if (!text || text[0] == 0) return current;
  int32_t year = Atoi32(text);
  if (year < 0) return current;
  if (year <= 138) return 1900 + year;
  if (year >= 1900 && year <= 2038) return year;
  return current;
}

void MakeMaxName(char* out, size_t outSize, int month, int day, int year) {
  // A seven-digit year already fills eleven characters; snprintf cuts the
  // text of a larger one (which only the `date` keyword can bring) safely.
  snprintf(out, outSize, "%d%s%d%s%d", year, month <= 9 ? "0" : "", month, day <= 9 ? "0" : "",
           day);
}

void ParseDate(int* startMonth, int* startDay, int* startYear, int* endMonth, int* endDay,
               int* endYear, const StatsFields* settings) {
  const char* start = settings->dateStart.c_str();
  const char* end = settings->dateEnd.c_str();
  *startMonth = NumberAt(start, 0, 2);
  *startDay = NumberAt(start, 2, 2);
  *startYear = NumberAt(start, 4, ll::FixedText<20>::kCapacity);
  *endMonth = NumberAt(end, 0, 2);
  *endDay = NumberAt(end, 2, 2);
  *endYear = NumberAt(end, 4, ll::FixedText<20>::kCapacity);
}

void CheckParams(const CgiEnv* env, StatsFields* settings) {
  CompleteDates(settings);
  if (settings->title.empty()) settings->title.set("Web Site Analysis");
  if (settings->url.empty()) ServerError(4, env, settings);
  if (settings->logs.empty()) ServerError(5, env, settings);
  BuildFind(settings);
  if (settings->dateStart.empty()) ServerError(6, env, settings);
  if (settings->dateEnd.empty()) ServerError(8, env, settings);
  if (settings->authRealm == "*") settings->authRealm.clear();
  if (settings->authUser == "*") settings->authUser.clear();
  if (settings->debug != 0 && settings->debugSources == kDebugFromRequestOnly &&
      settings->remoteDebugEnabled == 0) {
    settings->debug = 0;
  }
  int sm, sd, sy, em, ed, ey;
  ParseDate(&sm, &sd, &sy, &em, &ed, &ey, settings);
  if (SortableDate(sm, sd, sy) > SortableDate(em, ed, ey)) ServerError(7, env, settings);
}

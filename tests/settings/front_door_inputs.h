// Entry points shared by the fuzz targets of the request surfaces (form
// body, keyword words, configuration file) and by the unit test that
// replays the kept corpus.  Each runs one input through the real code on
// fresh records and returns a description of a broken invariant, or "".
//
// AddressSanitizer cannot see a text that runs from one field of a record
// into the next, so every run also checks that each text field of both
// records is still terminated inside its own width.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "cgi/cgi_env.h"
#include "driver/driver.h"
#include "report/frame.h"
#include "settings/config_file.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace front_door_inputs {

template <size_t N>
void CheckField(const ll::FixedText<N>& field, const char* name, std::string* problem) {
  if (problem->empty() && strnlen(field.s, N) >= N) *problem = std::string(name) + " overran";
}

#define LL_CHECK_FIELD(record, field) CheckField((record).field, #field, &problem)

inline std::string CheckRecords(const StatsFields& s, const CgiEnv& e) {
  std::string problem;
  LL_CHECK_FIELD(s, configFile); LL_CHECK_FIELD(s, imagePath); LL_CHECK_FIELD(s, find);
  LL_CHECK_FIELD(s, accountFind); LL_CHECK_FIELD(s, formFind); LL_CHECK_FIELD(s, title);
  LL_CHECK_FIELD(s, url); LL_CHECK_FIELD(s, filterDomains); LL_CHECK_FIELD(s, filterFileTypes);
  LL_CHECK_FIELD(s, dateStart); LL_CHECK_FIELD(s, dateEnd); LL_CHECK_FIELD(s, startMonth);
  LL_CHECK_FIELD(s, startDay); LL_CHECK_FIELD(s, endMonth); LL_CHECK_FIELD(s, endDay);
  LL_CHECK_FIELD(s, logs); LL_CHECK_FIELD(s, accessLog); LL_CHECK_FIELD(s, summary);
  LL_CHECK_FIELD(s, networksFile); LL_CHECK_FIELD(s, username); LL_CHECK_FIELD(s, password);
  LL_CHECK_FIELD(s, errorLog); LL_CHECK_FIELD(s, accountPassword); LL_CHECK_FIELD(s, internalIp);
  LL_CHECK_FIELD(s, userPasswords); LL_CHECK_FIELD(s, authRealm); LL_CHECK_FIELD(s, authUser);
  LL_CHECK_FIELD(s, base);
  LL_CHECK_FIELD(e, QUERY_STRING); LL_CHECK_FIELD(e, SCRIPT_NAME); LL_CHECK_FIELD(e, REMOTE_HOST);
  return problem;
}

#undef LL_CHECK_FIELD

// Fresh records, as at process start, with the ranked setters reset too.
struct Records {
  Records() {
    initialize(&settings, &env);
    ResetExtraTextRanksForTesting();
    SuperLog_ResetForTesting();
  }
  ~Records() { EndLoglanternCleanup(&settings); }
  StatsFields settings;
  CgiEnv env;
};

// The input is a POSTed body: read, split, decoded and applied.
inline std::string RunFormBody(const unsigned char* data, size_t size) {
  Records r;
  static char empty[1];
  FILE* stream = size ? fmemopen(const_cast<unsigned char*>(data), size, "rb")
                      : fmemopen(empty, 1, "rb");
  if (!stream) return "";
  ApplyPostedForm(stream, static_cast<int32_t>(size), &r.settings, &r.env);
  fclose(stream);
  return CheckRecords(r.settings, r.env);
}

// The input is lines of keyword words; each line's first byte chooses the
// source name and the rank of the word that follows it.
inline std::string RunKeywordWords(const unsigned char* data, size_t size) {
  static const char* const kSources[] = {"form", "ini", "FORM", "other"};
  Records r;
  std::string text(reinterpret_cast<const char*>(data), size);
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty()) continue;
    unsigned char selector = static_cast<unsigned char>(line[0]);
    CompareParam(line.c_str() + 1, &r.settings, &r.env, kSources[selector % 4],
                 static_cast<int32_t>(selector / 4 % 6) - 1);
  }
  return CheckRecords(r.settings, r.env);
}

// The input's first line is the request's user name; the rest is the
// configuration file.
inline std::string RunConfigFile(const unsigned char* data, size_t size) {
  Records r;
  std::string text(reinterpret_cast<const char*>(data), size);
  size_t newline = text.find('\n');
  std::string user = text.substr(0, newline == std::string::npos ? text.size() : newline);
  std::string file = newline == std::string::npos ? "" : text.substr(newline + 1);
  r.settings.username.set(user.c_str());
  std::string path = "/tmp/loglantern-config-input-" + std::to_string(getpid()) + ".conf";
  FILE* out = fopen(path.c_str(), "wb");
  if (!out) return "";
  fwrite(file.data(), 1, file.size(), out);
  fclose(out);
  r.settings.configFile.set(path.c_str());
  ParseConfigFile(&r.settings, &r.env);
  remove(path.c_str());
  return CheckRecords(r.settings, r.env);
}

}  // namespace front_door_inputs

// Entry points of the fuzz targets for what a web client or a site's files feed the program; each
// returns a described broken invariant, or "".  Files live in the working folder and fuzzed file
// names lose their '/' bytes, so that no input can read or write outside it.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "access/auth.h"
#include "analysis/analysis.h"
#include "analysis/dns_cache.h"
#include "analysis/filters.h"
#include "analysis/search_phrases.h"
#include "base/globals.h"
#include "cgi/cgi_env.h"
#include "driver/driver.h"
#include "report/frame.h"
#include "settings/config_file.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace web_fuzz_inputs {

// The input cut at "\n--\n" into at most n parts (missing parts are empty).
inline std::vector<std::string> Parts(const unsigned char* data, size_t size, size_t n) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t end; parts.size() + 1 < n && (end = text.find("\n--\n", start)) != std::string::npos; start = end + 4)
    parts.push_back(text.substr(start, end - start));
  parts.push_back(text.substr(std::min(start, text.size())));
  parts.resize(n);
  return parts;
}

inline void Write(const char* name, const std::string& text) {
  if (FILE* f = fopen(name, "wb")) fwrite(text.data(), 1, text.size(), f), fclose(f);
}

inline std::string ReadAll(const char* name) {
  std::string text;
  FILE* f = fopen(name, "rb");
  for (int c; f && (c = getc(f)) != EOF;) text += static_cast<char>(c);
  if (f) fclose(f);
  return text;
}

// A client address that names no host to look up (no name service here).
inline std::string NoLookup(std::string host) { return IsIpAddr(host.c_str()) ? "h" + host : host; }

// Parts: query string, client address, body, configuration file.  Sets up
// the process for one POST; the caller runs LoglanternMain into a file and
// passes the page to CheckPage.
inline void PrepareRequest(const unsigned char* data, size_t size) {
  std::vector<std::string> p = Parts(data, size, 4);
  std::replace(p[3].begin(), p[3].end(), '/', '_');
  Write("loglantern.conf", p[3]);
  Write("body", p[2]);
  setenv("REQUEST_METHOD", "POST", 1);  // always a CGI run
  setenv("QUERY_STRING", p[0].c_str(), 1);
  setenv("REMOTE_HOST", NoLookup(p[1]).c_str(), 1);
  setenv("REMOTE_ADDR", p[1].c_str(), 1);
  setenv("CONTENT_LENGTH", std::to_string(p[2].size()).c_str(), 1);
  if (!freopen("body", "rb", stdin)) abort();
  ResetGlobalsForTesting(), ResetExtraTextRanksForTesting(), ResetConfigReaderForTesting();
  SuperLog_ResetForTesting(), AnalysisResetForTesting();
}

inline std::string CheckPage(const std::string& page) {
  if (page.rfind("Content-type: text/html\nContent-Security-Policy: ", 0) != 0) return "a page without its headers";
  return page.find("\n\n") == std::string::npos ? "headers without their end" : "";
}

// Parts: user name, internal-address list, client address, passwords file.
inline std::string RunPasswords(const unsigned char* data, size_t size) {
  const std::vector<std::string> p = Parts(data, size, 4);
  StatsFields settings;
  CgiEnv env;
  initialize(&settings, &env);
  settings.username.set(p[0].c_str()), settings.password.set("secret");
  settings.internalIp.set(p[1].c_str()), settings.userPasswords.set("passwords");
  Write("passwords", p[3]);
  const int local = LocalIP(&settings, NoLookup(p[2]).c_str(), p[2].c_str());
  const int verified = VerifyPassword(&settings, &env);
  EndLoglanternCleanup(&settings);
  if ((local != 0 && local != 1) || (verified != 0 && verified != 1)) return "an answer other than 0 or 1";
  return "";
}

// The input is a referrer.
inline std::string RunSearchPhrase(const unsigned char* data, size_t size) {
  const std::string referrer(reinterpret_cast<const char*>(data), size);
  char work[244];
  const int engine = ExtractSearchPhrase(referrer.c_str(), work);
  if (engine < -1 || engine >= kSearchEngineCount) return "an engine index out of range";
  if (engine >= 0 && strnlen(work, sizeof work) >= sizeof work) return "a phrase past its buffer";
  return "";
}

// The first line is the item; the rest is the Networks file.
inline std::string RunNetworks(const unsigned char* data, size_t size) {
  const std::vector<std::string> p = Parts(data, size, 2);
  char item[244];
  snprintf(item, sizeof item, "%s", p[0].c_str());
  Write("networks", p[1]);
  ResolveItem(item, "networks");
  if (strnlen(item, sizeof item) >= sizeof item) return "an item past its buffer";
  return "";
}

}  // namespace web_fuzz_inputs

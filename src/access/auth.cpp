// User account authentication: requests from the site's internal addresses
// pass; others must give the account's password, kept in the account line or
// in a passwords file (plain text or system crypt hashes).
#include "access/auth.h"

#include <crypt.h>
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "analysis/dns_cache.h"
#include "analysis/filters.h"
#include "base/fixed_text.h"
#include "base/regular_file.h"
#include "cgi/cgi_env.h"
#include "report/errors.h"
#include "settings/stats_fields.h"

namespace {

constexpr size_t kWorkSize = 244;  // 243 characters and the terminator

// True when `entry` occurs in `name` or in `address`.  The empty entry
// occurs in every text, so a stray comma in the list admits everyone.
bool EntryMatches(const char* entry, const char* name, const char* address) {
  return strstr(name, entry) != nullptr || strstr(address, entry) != nullptr;
}

// Walks the comma-separated internal list without copying it whole; each
// entry is cut at 243 characters.  Returns 1 on the first entry found.
int AnyEntryMatches(const char* list, const char* name, const char* address) {
  const char* p = list;
  for (;;) {
    const char* comma = strchr(p, ',');
    size_t len = comma ? static_cast<size_t>(comma - p) : strlen(p);
    char entry[kWorkSize];
    ll::CopyText(entry, sizeof entry, p, len);
    if (EntryMatches(entry, name, address)) return 1;
    if (!comma) return 0;
    p = comma + 1;
  }
}

// The password field of a passwords-file line: from `start` to the next
// ':', CR, LF or the end, copied into field (kWorkSize bytes).
void CopyPasswordField(char* field, const char* start) {
  size_t len = strcspn(start, ":\r\n");
  ll::CopyText(field, kWorkSize, start, len);
}

// 1 when `given` is accepted by the stored field: "*" admits anyone, then a
// plain comparison ignoring case, then the field taken as a crypt hash whose
// own text is the salt.
int FieldAccepts(const char* field, const char* given) {
  if (strcmp(field, "*") == 0) return 1;
  if (strcasecmp(given, field) == 0) return 1;
  const char* hashed = crypt(given, field);
  return hashed != nullptr && strcasecmp(hashed, field) == 0;
}

bool IsComment(const char* line) { return line[0] == '#' || line[0] == ';'; }

// Reads one line of the passwords file into line (size bytes), without its
// line feed.  A longer line keeps its first size-1 bytes and the rest is
// dropped, so that no part of it is ever read as a line of its own.
// Returns false at the end of the file.
bool ReadPasswordsLine(FILE* file, char* line, size_t size) {
  size_t length = 0;
  int c = getc(file);
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = getc(file)) {
    if (length + 1 < size) line[length++] = static_cast<char>(c);
  }
  line[length] = 0;
  return true;
}

}  // namespace

void ValidateSession(StatsFields* settings, const CgiEnv* env) {
  if (LocalIP(settings, env->REMOTE_HOST.c_str(), env->REMOTE_ADDR.c_str())) return;
  const char* accountPassword = settings->accountPassword.c_str();
  if (strcmp(accountPassword, "*") == 0) return;
  if (accountPassword[0] != 0) {
    if (strcasecmp(settings->password.c_str(), accountPassword) == 0) return;
  } else if (VerifyPassword(settings, env)) {
    return;
  }
  ServerError(2, env, settings);
}

int LocalIP(const StatsFields* settings, const char* remoteHost, const char* remoteAddr) {
  const char* list = settings->internalIp.c_str();
  if (list[0] == 0) return 0;
  if (!remoteHost) remoteHost = "";
  if (!remoteAddr) remoteAddr = "";
  // A list that names hosts needs the client's name, not just its address.
  char* lookedUp = nullptr;
  if (IsIpAddr(remoteHost) && !IpAddrsOnly(list)) lookedUp = GetHostFromIP(remoteHost);
  int found = AnyEntryMatches(list, lookedUp ? lookedUp : remoteHost, remoteAddr);
  free(lookedUp);
  return found;
}

int VerifyPassword(StatsFields* settings, const CgiEnv* env) {
  if (settings->userPasswords.empty()) return 1;
  char prefix[kWorkSize];
  snprintf(prefix, sizeof prefix, "%s:", settings->username.c_str());
  size_t prefixLen = strlen(prefix);

  FILE* file = ll::OpenRegularFile(settings->userPasswords.c_str(), "r");
  if (!file) ServerError(10, env, settings);
  char line[kWorkSize];
  int accepted = 0;
  while (ReadPasswordsLine(file, line, sizeof line)) {
    if (IsComment(line) || strncasecmp(line, prefix, prefixLen) != 0) continue;
    char field[kWorkSize];
    CopyPasswordField(field, line + prefixLen);
    accepted = FieldAccepts(field, settings->password.c_str());
    break;
  }
  fclose(file);
  return accepted;
}

#include "settings/config_file.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

#include "base/regular_file.h"
#include "cgi/cgi_env.h"
#include "report/errors.h"
#include "settings/atoi32.h"
#include "settings/extra_text.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace {

constexpr size_t kBigBufSize = 8192;
constexpr size_t kLineMax = 1535;
constexpr size_t kItemMax = 243;
constexpr const char* kFallbackName = "loglantern.conf";
constexpr const char* kDefaultImagePath = "/loglantern";

// The line reader's state: one file at a time, opened and closed within one
// ParseConfigFile call.  The log reader has buffers of its own.
struct {
  FILE* mhFile = nullptr;
  char mBigBuf[kBigBufSize];
  size_t mBufPos = 0;
  size_t mBufEnd = 0;
  char mLineBuf[kLineMax + 1] = {};
  size_t mLineLen = 0;
} m;

// The line reader: blocks of 8192 bytes, lines of at most 1535 characters.
// Private to this file; the log reader has its own functions of these names.
int RefreshBigBuf();
void ReadRestOfLineFromBigBuf();
const char* ReadLineFromBigBuf();

// The next byte of the file, or -1 at its end.
int NextByte() {
  if (m.mBufPos >= m.mBufEnd && !RefreshBigBuf()) return -1;
  return static_cast<unsigned char>(m.mBigBuf[m.mBufPos++]);
}

// The byte NextByte would return, without consuming it.
int PeekByte() {
  if (m.mBufPos >= m.mBufEnd && !RefreshBigBuf()) return -1;
  return static_cast<unsigned char>(m.mBigBuf[m.mBufPos]);
}

bool IsLineEnd(int c) { return c == '\r' || c == '\n'; }

// Global keys: what one configuration line does to the settings.
struct GlobalLine {
  const char* value;
  size_t valueLength;
  StatsFields* settings;
  bool* smartParsing;
};

using GlobalHandler = void (*)(const GlobalLine& line);

struct GlobalKey {
  const char* name;
  GlobalHandler apply;
};

template <auto Field>
void GlobalText(const GlobalLine& l) {
  (l.settings->*Field).set(l.value);
}

template <auto Field>
void GlobalNumber(const GlobalLine& l) {
  l.settings->*Field = Atoi32(l.value);
}

void GlobalDebug(const GlobalLine& l) {
  l.settings->debug = Atoi32(l.value);
  l.settings->debugSources |= 1 << kSourceGlobal;
}

void GlobalBase(const GlobalLine& l) {
  if (l.valueLength >= 1 && l.valueLength <= kItemMax) l.settings->base.set(l.value);
}

// A request that asked for lookups keeps them whatever the file says.
void GlobalDnsLookup(const GlobalLine& l) {
  if (l.settings->dnsLookupEnabled == 0) l.settings->dnsLookupEnabled = Atoi32(l.value);
}

// A request that switched the memory ceiling off keeps it off.
void GlobalSmartMemory(const GlobalLine& l) {
  if (l.settings->smartMemoryDisabled == 0) l.settings->smartMemoryEnabled = Atoi32(l.value);
}

void GlobalSmartParsing(const GlobalLine& l) { *l.smartParsing = Atoi32(l.value) != 0; }
void GlobalFixGmt(const GlobalLine& l) { SuperLog_SetFixGmt(l.value, kSourceGlobal); }
void GlobalDateFormat(const GlobalLine& l) { SuperLog_SetDateFormat(l.value, kSourceGlobal); }
void GlobalLogFormat(const GlobalLine& l) { SuperLog_SetLogFormat(l.value, kSourceGlobal); }
void GlobalExtraHeader(const GlobalLine& l) {
  log_SetExtraHeader(l.value, kSourceGlobal, l.settings);
}
void GlobalExtraFooter(const GlobalLine& l) {
  log_SetExtraFooter(l.value, kSourceGlobal, l.settings);
}

const GlobalKey kGlobalKeys[] = {
    {"Networks", GlobalText<&StatsFields::networksFile>},
    {"ErrorLog", GlobalText<&StatsFields::errorLog>},
    {"LoglanternPath", GlobalText<&StatsFields::imagePath>},
    {"RemoteDebugEnabled", GlobalNumber<&StatsFields::remoteDebugEnabled>},
    {"Debug", GlobalDebug},
    {"Priority", GlobalNumber<&StatsFields::priority>},
    {"Base", GlobalBase},
    {"FixGmt", GlobalFixGmt},
    {"DateFormat", GlobalDateFormat},
    {"LogFormat", GlobalLogFormat},
    {"ExtraHeader", GlobalExtraHeader},
    {"ExtraFooter", GlobalExtraFooter},
    {"SmartParsing", GlobalSmartParsing},
    {"UserPasswords", GlobalText<&StatsFields::userPasswords>},
    {"InternalIp", GlobalText<&StatsFields::internalIp>},
    {"DNSLookupEnabled", GlobalDnsLookup},
    {"SmartMemoryEnabled", GlobalSmartMemory},
    {"SmartMemoryKeepEntries", GlobalNumber<&StatsFields::smartMemoryKeepEntries>},
    {"SmartMemoryReclaimSize", GlobalNumber<&StatsFields::smartMemoryReclaimSize>},
    {"SmartMemoryMaxMemoryToAllocate", GlobalNumber<&StatsFields::smartMemoryMaxMemory>},
    {"FlushToServer", GlobalNumber<&StatsFields::flushToServer>},
    {"search_casesensitive", GlobalNumber<&StatsFields::searchCaseSensitive>},
};

void ApplyGlobalKey(const char* key, const GlobalLine& line) {
  for (const GlobalKey& global : kGlobalKeys) {
    if (strcasecmp(key, global.name) == 0) {
      global.apply(line);
      return;
    }
  }
}

FILE* OpenConfigFile(const StatsFields* settings) {
  FILE* file = ll::OpenRegularFile(settings->configFile.c_str(), "rb");
  return file ? file : ll::OpenRegularFile(kFallbackName, "rb");
}

// Handles one line of the file; returns true when it was a matching account line.
bool ApplyConfigLine(char* line, const char* accountPrefix, StatsFields* settings, CgiEnv* env,
                     bool* smartParsing) {
  if (line[0] == '#' || line[0] == ';') return false;
  char* equals = strchr(line, '=');
  if (!equals) return false;
  *equals = 0;
  bool isAccount = strcasecmp(line, "user") == 0;
  if (isAccount) {
    *equals = '=';
    if (strncasecmp(line, accountPrefix, strlen(accountPrefix)) != 0) return false;
    ParseUserData(line, settings, env);
    return true;
  }
  GlobalLine global{equals + 1, strlen(equals + 1), settings, smartParsing};
  ApplyGlobalKey(line, global);
  return false;
}

// Reads the next block; 1 when it holds at least one byte, 0 at the end.
int RefreshBigBuf() {
  m.mBufPos = 0;
  m.mBufEnd = m.mhFile ? fread(m.mBigBuf, 1, kBigBufSize, m.mhFile) : 0;
  return m.mBufEnd > 0 ? 1 : 0;
}

void ReadRestOfLineFromBigBuf() {
  for (int c = NextByte(); c >= 0 && !IsLineEnd(c); c = NextByte()) {
  }
}

// Returns the next non-empty line, valid until the next call, or "" at the
// end of the file.  A line longer than 1535 characters is cut there and the
// rest of it is skipped.
const char* ReadLineFromBigBuf() {
  m.mLineLen = 0;
  m.mLineBuf[0] = 0;
  while (IsLineEnd(PeekByte())) NextByte();
  for (int c = NextByte(); c >= 0 && !IsLineEnd(c); c = NextByte()) {
    m.mLineBuf[m.mLineLen++] = static_cast<char>(c);
    if (m.mLineLen == kLineMax) {
      ReadRestOfLineFromBigBuf();
      break;
    }
  }
  m.mLineBuf[m.mLineLen] = 0;
  return m.mLineBuf;
}

}  // namespace

void ResetConfigReaderForTesting() {
  if (m.mhFile) fclose(m.mhFile);
  m.mhFile = nullptr;
  m.mBufPos = m.mBufEnd = 0;
  m.mLineLen = 0;
  m.mLineBuf[0] = 0;
}

void TrimTrailingBackslash(char* text) {
  size_t n = strlen(text);
  if (n == 0) return;
  if (text[n - 1] == '\\' || text[n - 1] == '/') text[n - 1] = 0;
}

void InsertUserName(const StatsFields* settings, char* text, size_t textSize) {
  static constexpr char kToken[] = "%user%";
  static constexpr size_t kTokenLength = sizeof kToken - 1;
  if (textSize == 0 || !strstr(text, kToken)) return;
  char result[1024] = {};
  size_t resultSize = textSize < sizeof result ? textSize : sizeof result;
  const char* rest = text;
  for (const char* hit = strstr(rest, kToken); hit; hit = strstr(rest, kToken)) {
    size_t used = strlen(result);
    ll::CopyText(result + used, resultSize - used, rest, static_cast<size_t>(hit - rest));
    ll::AppendText(result, resultSize, settings->username.c_str());
    rest = hit + kTokenLength;
  }
  ll::AppendText(result, resultSize, rest);
  ll::CopyText(text, textSize, result);
}

void ParseUserData(const char* line, StatsFields* settings, CgiEnv* env) {
  char item[kItemMax + 1];
  size_t length = 0;
  for (const char* p = line;; ++p) {
    char c = *p;
    bool ends = c == 0 || c == ';' || c == '\r' || c == '\n';
    if (!ends) {
      if (length < kItemMax) item[length++] = c;  // an overlong item is cut
      continue;
    }
    item[length] = 0;
    InsertUserName(settings, item, sizeof item);
    CompareParam(item, settings, env, "ini", kSourceAccount);
    length = 0;
    if (c != ';') return;
  }
}

int ParseConfigFile(StatsFields* settings, CgiEnv* env) {
  char accountPrefix[kItemMax + 1];
  snprintf(accountPrefix, sizeof accountPrefix, "user=%s;", settings->username.c_str());
  ResetConfigReaderForTesting();
  m.mhFile = OpenConfigFile(settings);
  if (!m.mhFile) {
    if (settings->runMode == kRunAbout || settings->runMode == kRunCredits) return 0;
    ServerError(9, env, settings);
  }
  bool smartParsing = false;
  int matched = 0;
  for (;;) {
    ReadLineFromBigBuf();
    if (m.mLineLen == 0) break;
    if (ApplyConfigLine(m.mLineBuf, accountPrefix, settings, env, &smartParsing)) matched = 1;
    if (smartParsing && matched) break;
  }
  ResetConfigReaderForTesting();
  if (settings->imagePath.empty()) {
    settings->imagePath.set(kDefaultImagePath);
  } else {
    TrimTrailingBackslash(settings->imagePath.data());
  }
  return matched;
}

// Fuzz target for log lines: the first byte chooses the date order (bits 0-2),
// the GMT correction (bit 3) and a template on the first line (bit 4); the rest
// is a log for the line parser and, line by line, the date classifier.  Every
// byte is counted as read; each hit has a URL other than "-", a time, and texts
// that fit a field, the optional ones neither empty nor "-".
#include <climits>
#include <cstring>

#include "fuzz_target.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"

static std::string CheckHit(const LogHit& hit) {
  if (!hit.url || strcmp(hit.url, "-") == 0 || (mState.mGmtOffset == 0 && (hit.time == 0 || hit.time == -1))) return "no URL or time";
  for (const char* text : {hit.host, hit.url, hit.referrer, hit.agent, hit.realm, hit.user}) {
    if (text && strnlen(text, 244) > 243) return "a text longer than a field";
    if (text && text != hit.host && text != hit.url && (!*text || strcmp(text, "-") == 0)) return "an empty text not made null";
  }
  return "";
}

static std::string RunLogLines(const unsigned char* data, size_t size) {
  static const char* const kOrders[] = {"", "DMY", "DYM", "MDY", "MYD", "YDM", "YMD", ""};
  SuperLog_ResetForTesting();
  const unsigned options = size ? data[0] : 0;
  std::string text = size ? std::string(reinterpret_cast<const char*>(data) + 1, size - 1) : "";
  SuperLog_SetDateFormat(kOrders[options & 7], kSourceForm);
  SuperLog_SetFixGmt(options & 8 ? "1" : "0", kSourceForm);
  if (options & 16) {
    const size_t eol = std::min(text.find('\n'), text.size());
    SuperLog_SetLogFormat(text.substr(0, eol).c_str(), kSourceForm);
    text.erase(0, eol + 1);
  }
  StatsFields settings;
  settings.logs.set("/nonexistent-loglantern-fuzz/none");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  std::string problem;
  if (!text.empty()) {
    mState.mhFile = fmemopen(text.data(), text.size(), "rb");
    for (LogHit hit; problem.empty() && SuperLog_ParseNextLine(&hit);) problem = CheckHit(hit);
    SuperLong read;
    SuperLog_GetTotalLogBytesRead(&read);
    if (problem.empty() && SuperLongToDouble(read) != static_cast<double>(text.size())) problem = "bytes miscounted";
    SuperLog_NextLogFile_Done();
  }
  for (size_t start = 0, end = 0; start <= text.size(); start = end + 1) {
    end = std::min(text.find_first_of("\r\n", start), text.size());
    ll::CopyText(mState.mLineBuf, sizeof mState.mLineBuf, text.data() + start, end - start);
    GuessDateTimeFromLine();
  }
  SuperLog_ResetForTesting();
  return problem;
}

LOGLANTERN_FUZZ_TARGET(RunLogLines)

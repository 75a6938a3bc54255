// Entry points shared by the log reader's fuzz targets (log lines, summary
// files) and by the unit test that replays their kept corpus.  Each runs
// one input through the real reader from its start state and returns a
// description of a broken invariant, or "".
//
// Besides what the sanitizers see, every hit is checked: its texts lie in
// the reader's buffers and fit the 243-character fields, its URL is
// neither missing nor "-", and its broken-down time is the local reading of
// its calendar time.
#pragma once

#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"

namespace superlog_inputs {

// True when text is null, or a NUL-terminated text inside one of the
// reader's buffers no longer than a field.
inline bool TextInBuffers(const char* text) {
  if (!text) return true;
  const auto p = reinterpret_cast<uintptr_t>(text);
  const auto line = reinterpret_cast<uintptr_t>(mState.mLineBuf);
  const auto url = reinterpret_cast<uintptr_t>(mState.mpFullUrlBuf);
  const bool inLine = p >= line && p < line + kLineBufSize;
  const bool inUrl = url && p >= url && p < url + kFullUrlBufSize;
  if (!inLine && !inUrl) return false;
  const size_t room = inLine ? line + kLineBufSize - p : url + kFullUrlBufSize - p;
  return strnlen(text, room) <= static_cast<size_t>(kFieldMax);
}

inline std::string CheckHit(const LogHit& hit) {
  for (const char* text : {hit.host, hit.url, hit.referrer, hit.agent, hit.realm, hit.user}) {
    if (!TextInBuffers(text)) return "a hit text lies outside the reader's buffers or is too long";
  }
  if (!hit.url || strcmp(hit.url, "-") == 0) return "a hit without URL";
  if (mState.mGmtOffset == 0 && (hit.time == 0 || hit.time == -1)) return "a hit without time";
  struct tm local;
  if (ll::Localtime32(hit.time, &local) &&
      (local.tm_sec != hit.tm.tm_sec || local.tm_min != hit.tm.tm_min || local.tm_hour != hit.tm.tm_hour ||
       local.tm_yday != hit.tm.tm_yday || local.tm_year != hit.tm.tm_year || local.tm_wday != hit.tm.tm_wday)) {
    return "a hit whose broken-down time is not its local time";
  }
  for (const char* optional : {hit.referrer, hit.agent, hit.realm, hit.user}) {
    if (optional && (!*optional || strcmp(optional, "-") == 0)) return "an empty or \"-\" text not made null";
  }
  return "";
}

// Log lines.  The first byte chooses the settings: bits 0-2 the date order
// (1-6), bit 3 the GMT correction, bit 4 a given template taken from the
// first line.  The rest is the log file.
inline std::string RunLogLines(const unsigned char* data, size_t size) {
  static const char* const kOrders[] = {"", "DMY", "DYM", "MDY", "MYD", "YDM", "YMD", ""};
  SuperLog_ResetForTesting();
  const unsigned options = size ? data[0] : 0;
  std::string text = size ? std::string(reinterpret_cast<const char*>(data) + 1, size - 1) : "";
  SuperLog_SetDateFormat(kOrders[options & 7], kSourceForm);
  if (options & 8) SuperLog_SetFixGmt("1", kSourceForm);
  if (options & 16) {
    const size_t eol = text.find('\n');
    SuperLog_SetLogFormat(text.substr(0, eol).c_str(), kSourceForm);
    text = eol == std::string::npos ? "" : text.substr(eol + 1);
  }
  StatsFields settings;
  settings.logs.set("/nonexistent-loglantern-fuzz/none");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  std::string problem;
  if (!text.empty()) {
    mState.mhFile = fmemopen(text.data(), text.size(), "rb");
    LogHit hit;
    while (problem.empty() && SuperLog_ParseNextLine(&hit)) problem = CheckHit(hit);
    SuperLong read;
    SuperLog_GetTotalLogBytesRead(&read);
    if (problem.empty() && SuperLongToDouble(read) != static_cast<double>(text.size())) {
      problem = "log bytes read differ from the log's size";
    }
    SuperLog_NextLogFile_Done();
  }
  // The classifier of the date-range scan, on every line.
  size_t start = 0;
  for (size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] != '\n' && text[i] != '\r') continue;
    ll::CopyText(mState.mLineBuf, sizeof mState.mLineBuf, text.data() + start, i - start);
    GuessDateTimeFromLine();
    start = i + 1;
  }
  SuperLog_Uninit();
  SuperLog_ResetForTesting();
  return problem;
}

struct ListedLog {
  std::string name;
  uint32_t size;
  ll::time32_t start, end;
  bool operator==(const ListedLog&) const = default;
};

inline std::vector<ListedLog> ListedLogs() {
  std::vector<ListedLog> out;
  for (const LogSummaryItem* e = mState.mpLogsRoot; e; e = e->next) {
    out.push_back({std::string(e->name, strnlen(e->name, sizeof e->name)), e->size, e->start, e->end});
  }
  return out;
}

// A folder of three small logs, made once per process.
inline const std::string& FuzzLogFolder() {
  static const std::string folder = [] {
    char pattern[] = "/tmp/loglantern-summary-fuzz-XXXXXX";
    std::string dir = mkdtemp(pattern) ? pattern : "/tmp";
    const char* const lines[] = {
        "1.2.3.4 - - [01/Jan/1999:12:00:00 +0000] \"GET /a HTTP/1.0\" 200 1\n",
        "1.2.3.4 - - [02/Feb/1999:12:00:00 +0000] \"GET /b HTTP/1.0\" 200 1\n",
        "1.2.3.4 - - [03/Mar/1999:12:00:00 +0000] \"GET /c HTTP/1.0\" 200 1\n"};
    for (int i = 0; i < 3; ++i) {
      FILE* f = fopen((dir + "/" + static_cast<char>('a' + i) + ".log").c_str(), "wb");
      if (f) {
        for (int k = 0; k <= i; ++k) fputs(lines[i], f);
        fclose(f);
      }
    }
    return dir;
  }();
  return folder;
}

// The list as a rewrite of it reads back: later entries with the size and
// dates of an earlier one are dropped as copies.
inline std::vector<ListedLog> WithoutCopies(const std::vector<ListedLog>& list) {
  std::vector<ListedLog> kept;
  for (const ListedLog& e : list) {
    bool copy = false;
    for (const ListedLog& k : kept) copy |= k.size == e.size && k.start == e.start && k.end == e.end;
    if (!copy) kept.push_back(e);
  }
  return kept;
}

// Summary files: the input is the summary of a folder of three logs.  The
// list must hold each log once, and the summary on disk afterwards must
// read back as that list.
inline std::string RunSummaryFile(const unsigned char* data, size_t size) {
  SuperLog_ResetForTesting();
  const std::string dir = FuzzLogFolder();
  const std::string summary = dir + "/fuzz.LGS";
  if (FILE* f = fopen(summary.c_str(), "wb")) {
    fwrite(data, 1, size, f);
    fclose(f);
  }
  StatsFields settings;
  settings.logs.set((dir + "/*.log").c_str());
  settings.summary.set("fuzz");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  const std::vector<ListedLog> listed = ListedLogs();
  std::string problem;
  for (const char* name : {"a.log", "b.log", "c.log"}) {
    int found = 0;
    for (const ListedLog& e : listed) found += e.name == dir + "/" + name;
    if (found > 1) problem = std::string(name) + " is listed twice";
  }
  LogHit hit;
  for (int files = 0; files < 10 && SuperLog_NextLogFile(); ++files) {
    while (problem.empty() && SuperLog_ParseNextLine(&hit)) problem = CheckHit(hit);
  }
  SuperLog_ResetForTesting();
  ll::CopyText(mState.mSummaryFilename, summary.c_str());
  ReadSummaryFile();
  if (problem.empty() && ListedLogs() != WithoutCopies(listed)) problem = "the summary does not read back";
  SuperLog_ResetForTesting();
  return problem;
}

}  // namespace superlog_inputs

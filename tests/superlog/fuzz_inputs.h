// Entry points shared by the log reader's fuzz targets (log lines, summary
// files) and the unit test that replays their kept corpus.  Each runs one
// input through the real reader from its start state and returns a
// description of a broken invariant, or "".
#pragma once

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"

namespace superlog_inputs {

// A hit's texts lie in the reader's buffers and fit a 243-character field;
// it has a URL other than "-", a time, and tm is the local reading of it.
inline std::string CheckHit(const LogHit& hit) {
  const auto line = reinterpret_cast<uintptr_t>(mState.mLineBuf);
  const auto url = reinterpret_cast<uintptr_t>(mState.mpFullUrlBuf);
  for (const char* text : {hit.host, hit.url, hit.referrer, hit.agent, hit.realm, hit.user}) {
    const auto p = reinterpret_cast<uintptr_t>(text);
    size_t room = 0;
    if (p >= line && p < line + kLineBufSize) room = line + kLineBufSize - p;
    if (url && p >= url && p < url + kFullUrlBufSize) room = url + kFullUrlBufSize - p;
    if (text && (room == 0 || strnlen(text, room) > 243)) return "a text outside the buffers or too long";
  }
  if (!hit.url || strcmp(hit.url, "-") == 0) return "a hit without URL";
  if (mState.mGmtOffset == 0 && (hit.time == 0 || hit.time == -1)) return "a hit without time";
  struct tm local;
  if (ll::Localtime32(hit.time, &local) && (local.tm_sec != hit.tm.tm_sec || local.tm_min != hit.tm.tm_min ||
                                            local.tm_hour != hit.tm.tm_hour || local.tm_yday != hit.tm.tm_yday ||
                                            local.tm_year != hit.tm.tm_year || local.tm_wday != hit.tm.tm_wday)) {
    return "a hit whose broken-down time is not its local time";
  }
  for (const char* text : {hit.referrer, hit.agent, hit.realm, hit.user}) {
    if (text && (!*text || strcmp(text, "-") == 0)) return "an empty or \"-\" text not made null";
  }
  return "";
}

// Log lines.  The first byte chooses the settings: bits 0-2 the date order,
// bit 3 the GMT correction, bit 4 a template given by the first line.  The
// rest is the log, read by the line parser and, line by line, the date
// classifier; all its bytes must be counted as read.
inline std::string RunLogLines(const unsigned char* data, size_t size) {
  static const char* const kOrders[] = {"", "DMY", "DYM", "MDY", "MYD", "YDM", "YMD", ""};
  SuperLog_ResetForTesting();
  const unsigned options = size ? data[0] : 0;
  std::string text = size ? std::string(reinterpret_cast<const char*>(data) + 1, size - 1) : "";
  SuperLog_SetDateFormat(kOrders[options & 7], kSourceForm);
  SuperLog_SetFixGmt(options & 8 ? "1" : "0", kSourceForm);
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
    if (problem.empty() && SuperLongToDouble(read) != static_cast<double>(text.size())) problem = "bytes miscounted";
    SuperLog_NextLogFile_Done();
  }
  for (size_t start = 0, i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] != '\n' && text[i] != '\r') continue;
    ll::CopyText(mState.mLineBuf, sizeof mState.mLineBuf, text.data() + start, i - start);
    GuessDateTimeFromLine();
    start = i + 1;
  }
  SuperLog_ResetForTesting();
  return problem;
}

// The list of logs as "name size start end" lines.
inline std::vector<std::string> ListedLogs() {
  std::vector<std::string> out;
  for (const LogSummaryItem* e = mState.mpLogsRoot; e; e = e->next) {
    out.push_back(std::string(e->name, strnlen(e->name, sizeof e->name)) + " " + std::to_string(e->size) + " " +
                  std::to_string(e->start) + " " + std::to_string(e->end));
  }
  return out;
}

// A folder of three small logs, made once per process and removed at exit.
inline const std::string& FuzzLogFolder() {
  struct Folder {
    std::string path;
    Folder() {
      char pattern[] = "/tmp/loglantern-summary-fuzz-XXXXXX";
      path = mkdtemp(pattern) ? pattern : "";
      for (int i = 0; i < 3; ++i) {
        if (FILE* f = fopen((path + "/" + static_cast<char>('a' + i) + ".log").c_str(), "wb")) {
          for (int k = 0; k <= i; ++k) fprintf(f, "1.2.3.4 - - [0%d/Jan/1999:12:00:00 +0000] \"GET / HTTP/1.0\" 200 1\n", i + 1);
          fclose(f);
        }
      }
    }
    ~Folder() {
      std::error_code ignored;
      if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

// Summary files: the input is the summary of the folder of three logs.  No
// log may be listed twice, and the summary left on disk must read back as
// the list (less what reads back as a copy: same size and dates as an
// earlier entry under another name).
inline std::string RunSummaryFile(const unsigned char* data, size_t size) {
  SuperLog_ResetForTesting();
  if (FuzzLogFolder().empty()) return "no temporary folder";
  const std::string summary = FuzzLogFolder() + "/fuzz.LGS";
  if (FILE* f = fopen(summary.c_str(), "wb")) {
    fwrite(data, 1, size, f);
    fclose(f);
  }
  StatsFields settings;
  settings.logs.set((FuzzLogFolder() + "/*.log").c_str());
  settings.summary.set("fuzz");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  std::vector<std::string> listed = ListedLogs(), readBack;
  std::string problem;
  for (size_t i = 0; i < listed.size(); ++i) {
    const std::string name = listed[i].substr(0, listed[i].find(' '));
    const std::string values = listed[i].substr(name.size());
    bool copy = false;
    for (size_t k = 0; k < i; ++k) {
      if (listed[k].substr(0, listed[k].find(' ')) == name) problem = name + " is listed twice";
      copy |= listed[k].substr(listed[k].find(' ')) == values;
    }
    if (!copy) readBack.push_back(listed[i]);
  }
  LogHit hit;
  while (problem.empty() && SuperLog_NextLogFile()) {
    while (problem.empty() && SuperLog_ParseNextLine(&hit)) problem = CheckHit(hit);
  }
  SuperLog_ResetForTesting();
  ll::CopyText(mState.mSummaryFilename, summary.c_str());
  ReadSummaryFile();
  if (problem.empty() && ListedLogs() != readBack) problem = "the summary does not read back";
  SuperLog_ResetForTesting();
  return problem;
}

}  // namespace superlog_inputs

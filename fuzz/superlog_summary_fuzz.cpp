// Fuzz target for summary files: the input is the summary of a folder of three
// small logs, read at start-up, rewritten when it differs from the folder, and
// read back.  No log may be listed twice, and the summary left on disk must
// read back as the list, less what reads back as a copy (the size and dates of
// an earlier entry under another name).
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <vector>

#include "fuzz_target.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"

using Entries = std::vector<std::pair<std::string, std::string>>;  // {name, "size start end"}
static Entries Listed() {
  Entries out;
  for (const LogSummaryItem* e = mState.mpLogsRoot; e; e = e->next) {
    out.emplace_back(e->name, std::to_string(e->size) + " " + std::to_string(e->start) + " " + std::to_string(e->end));
  }
  return out;
}

static std::string gFolder;  // three small logs, made once per process

static std::string RunSummaryFile(const unsigned char* data, size_t size) {
  if (gFolder.empty()) {
    char pattern[] = "/tmp/loglantern-summary-fuzz-XXXXXX";
    if (!mkdtemp(pattern)) return "no temporary folder";
    gFolder = pattern;
    atexit([] { std::error_code ignored; std::filesystem::remove_all(gFolder, ignored); });
    for (int i = 1; i <= 3; ++i) {
      FILE* f = fopen((gFolder + "/" + std::to_string(i) + ".log").c_str(), "wb");
      for (int k = 0; f && k < i; ++k) fprintf(f, "1.2.3.4 - - [0%d/Jan/1999:12:00:00 +0000] \"GET / HTTP/1.0\" 200 1\n", i);
      if (f) fclose(f);
    }
  }
  SuperLog_ResetForTesting();
  const std::string summary = gFolder + "/fuzz.LGS";
  if (FILE* f = fopen(summary.c_str(), "wb")) fwrite(data, 1, size, f), fclose(f);
  StatsFields settings;
  settings.logs.set((gFolder + "/*.log").c_str());
  settings.summary.set("fuzz");
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  const Entries listed = Listed();
  Entries readBack;
  std::string problem;
  for (size_t i = 0; i < listed.size(); ++i) {
    bool copy = false;
    for (size_t k = 0; k < i; ++k) {
      if (listed[k].first == listed[i].first) problem = listed[i].first + " is listed twice";
      copy |= listed[k].second == listed[i].second;
    }
    if (!copy) readBack.push_back(listed[i]);
  }
  for (LogHit hit; SuperLog_NextLogFile();) while (SuperLog_ParseNextLine(&hit)) continue;
  SuperLog_ResetForTesting();
  ll::CopyText(mState.mSummaryFilename, summary.c_str());
  ReadSummaryFile();
  if (problem.empty() && Listed() != readBack) problem = "the summary does not read back";
  SuperLog_ResetForTesting();
  return problem;
}

LOGLANTERN_FUZZ_TARGET(RunSummaryFile)

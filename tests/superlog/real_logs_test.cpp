// Every shared real server log (see its SOURCES.md), read alone through discovery
// and the walk: one with hits is read to its last byte; all give the hits an
// independent count gave.
#include <filesystem>

#include "superlog_test_util.h"

namespace {

namespace fs = std::filesystem;
using RealLogs = sltest::ReaderTest;

TEST_F(RealLogs, EveryByteIsReadAndEveryHitCounted) {
  const fs::path root = testing_support::SharedDir() + "/data/real-logs";
  if (!fs::exists(root)) GTEST_SKIP() << "no real logs at " << root;
  int total = 0;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file() || entry.path().extension() == ".md") continue;
    testing_support::TempDir dir;  // discovery writes its summary file beside the log
    const std::string text = testing_support::ReadFile(entry.path().string());
    testing_support::WriteFile(dir.file("copy.log"), text);
    SuperLog_ResetForTesting();
    StatsFields settings;
    settings.logs.set(dir.file("*.log").c_str());
    SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
    int hits = 0;
    for (LogHit hit; SuperLog_NextLogFile();) while (SuperLog_ParseNextLine(&hit)) ++hits;
    SuperLong read;
    SuperLog_GetTotalLogBytesRead(&read);
    EXPECT_EQ(hits ? uint64_t{read.first} * 1000000000u + read.second : text.size(), text.size()) << entry.path();
    total += hits;
  }
  EXPECT_EQ(total, 81807);
}

}  // namespace

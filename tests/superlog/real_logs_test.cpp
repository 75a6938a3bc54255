// Logs written by real servers (see the shared SOURCES.md), each read through
// discovery and the walk from a copy: the hits are those an independent count
// gave, and a log with hits is read to its last byte.  The IIS vendor samples
// give none: one lacks "#Software:", the other writes the year 01 (1901).
#include <filesystem>
#include <vector>

#include "superlog_test_util.h"

namespace {

namespace fs = std::filesystem;
using RealLogs = sltest::ReaderTest;

TEST_F(RealLogs, EveryByteIsReadAndEveryHitCounted) {
  const std::string root = testing_support::SharedDir() + "/data/real-logs/";
  if (!fs::exists(root)) GTEST_SKIP() << "no real logs at " << root;
  const std::pair<const char*, int> cases[] = {  // a file, or a folder of W3C logs; its hits
      {"elastic-examples/apache_logs", 10000}, {"nasa-http-dbai-labs/nasa_aug95_first20000.log", 20000},
      {"monitorware-spark-log-analyzer/access_log", 1535}, {"logparser-demolog/hackers-access.log", 3456},
      {"apache-http-logs/acunetix.txt", 0}, {"apache-http-logs/netsparker.txt", 0},
      {"apache-http-logs/w3af.txt", 62}, {"debian-logstalgia/example.log", 3260}, {"debian-logswan/logswan.log", 34},
      {"iis-waikolai/W3SVC20", 22308}, {"iis-webknowit/W3SVC1", 14318}, {"iis-webknowit/W3SVC2", 6830},
      {"iis-doc-samples/ex960101.log", 0}, {"iis-doc-samples/ex010320.log", 0},
  };
  for (const auto& [path, expected] : cases) {
    testing_support::TempDir dir;  // discovery writes its summary file beside the logs
    const fs::path source = root + path;
    std::vector<fs::path> files{source};
    if (fs::is_directory(source)) files.assign(fs::directory_iterator(source), fs::directory_iterator());
    uint64_t size = 0;
    for (const fs::path& file : files) {
      const std::string text = testing_support::ReadFile(file.string());
      testing_support::WriteFile(dir.file(file.filename().string() + ".log"), text);
      size += text.size();
    }
    SuperLog_ResetForTesting();
    StatsFields settings;
    settings.logs.set(dir.file("*.log").c_str());
    SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
    int hits = 0;
    for (LogHit hit; SuperLog_NextLogFile();) while (SuperLog_ParseNextLine(&hit)) ++hits;
    SuperLong read;
    SuperLog_GetTotalLogBytesRead(&read);
    EXPECT_EQ(hits, expected) << path;
    EXPECT_EQ(hits ? uint64_t{read.first} * 1000000000u + read.second : size, size) << path;
  }
}

}  // namespace

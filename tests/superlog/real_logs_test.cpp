// Logs written by real servers (see the shared SOURCES.md): each is read
// through discovery and the walk from a copy (discovery writes its summary
// file beside the logs); the bytes read must be the files' sizes and the
// hits the number an independent count of the same files gave.
#include <filesystem>

#include "superlog_test_util.h"

namespace {

namespace fs = std::filesystem;
using testing_support::ReadFile;

class RealLogs : public sltest::ReaderTest {
 protected:
  sltest::ScopedZone utc_{"UTC"};
};

TEST_F(RealLogs, EveryByteIsReadAndEveryHitCounted) {
  const std::string root = testing_support::SharedDir() + "/data/real-logs/";
  if (!fs::exists(root)) GTEST_SKIP() << "no real logs at " << root;
  struct Case {
    const char* path;  // a file, or a folder of W3C logs
    int hits;
  } cases[] = {
      {"elastic-examples/apache_logs", 10000}, {"nasa-http-dbai-labs/nasa_aug95_first20000.log", 20000},
      {"monitorware-spark-log-analyzer/access_log", 1535}, {"logparser-demolog/hackers-access.log", 3456},
      {"apache-http-logs/acunetix.txt", 0}, {"apache-http-logs/netsparker.txt", 0},
      {"apache-http-logs/w3af.txt", 62}, {"debian-logstalgia/example.log", 3260}, {"debian-logswan/logswan.log", 34},
      {"iis-waikolai/W3SVC20", 22308}, {"iis-webknowit/W3SVC1", 14318}, {"iis-webknowit/W3SVC2", 6830},
  };
  for (const Case& c : cases) {
    testing_support::TempDir dir;
    uint64_t size = 0;
    const bool folder = fs::is_directory(root + c.path);
    for (const auto& entry : fs::directory_iterator(folder ? fs::path(root + c.path) : fs::path(root + c.path).parent_path())) {
      if (!folder && entry.path() != fs::path(root + c.path)) continue;
      const std::string text = ReadFile(entry.path().string());
      testing_support::WriteFile(dir.file(entry.path().filename().string() + ".log"), text);
      size += text.size();
    }
    SuperLog_ResetForTesting();
    StatsFields settings;
    settings.logs.set(dir.file("*.log").c_str());
    SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
    int hits = 0;
    LogHit hit;
    while (SuperLog_NextLogFile())
      while (SuperLog_ParseNextLine(&hit)) ++hits;
    SuperLong read;
    SuperLog_GetTotalLogBytesRead(&read);
    EXPECT_EQ(hits, c.hits) << c.path;
    if (hits) {
      EXPECT_EQ(uint64_t{read.first} * 1000000000u + read.second, size) << c.path;
    }
  }
}

TEST_F(RealLogs, VendorSamplesGiveNoHits) {
  // No "#Software:" line: no field is known.  The native IIS sample writes
  // the year 01, which is 1901 and cannot be represented.
  for (const char* sample : {"ex960101.log", "ex010320.log"}) {
    SuperLog_ResetForTesting();
    EXPECT_TRUE(sltest::ParseText(ReadFile(testing_support::SharedDir() + "/data/real-logs/iis-doc-samples/" + sample)).empty()) << sample;
  }
  EXPECT_EQ(mState.mCurLogFormat, 3);  // the native sample is recognised as IIS
}

}  // namespace

// Replays every kept input of the log reader's fuzz targets through the
// entry functions that the fuzzers call.
#include <gtest/gtest.h>

#include <filesystem>

#include "superlog/fuzz_inputs.h"
#include "support/test_support.h"

namespace {

int Replay(const std::string& target, std::string (*entry)(const unsigned char*, size_t)) {
  int count = 0;
  for (const auto& file : std::filesystem::directory_iterator(testing_support::SourceDir() + "/tests/corpus/" + target)) {
    const std::string input = testing_support::ReadFile(file.path().string());
    EXPECT_EQ(entry(reinterpret_cast<const unsigned char*>(input.data()), input.size()), "") << file.path();
    ++count;
  }
  return count;
}

TEST(SuperLogFuzzCorpus, LogLinesAndSummaryFiles) {
  EXPECT_GT(Replay("superlog_lines", superlog_inputs::RunLogLines), 0);
  EXPECT_GT(Replay("superlog_summary", superlog_inputs::RunSummaryFile), 0);
  const unsigned char none[1] = {0};
  EXPECT_EQ(superlog_inputs::RunLogLines(none, 0), "");
  EXPECT_EQ(superlog_inputs::RunSummaryFile(none, 0), "");
}

}  // namespace

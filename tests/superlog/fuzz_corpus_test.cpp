// Replays every kept input of the log reader's fuzz targets through the
// same entry functions that the fuzzers call.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "superlog/fuzz_inputs.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;

using Entry = std::string (*)(const unsigned char*, size_t);

int ReplayCorpus(const std::string& target, Entry entry) {
  const fs::path dir = fs::path(testing_support::SourceDir()) / "tests" / "corpus" / target;
  int count = 0;
  for (const auto& file : fs::directory_iterator(dir)) {
    const std::string input = testing_support::ReadFile(file.path().string());
    EXPECT_EQ(entry(reinterpret_cast<const unsigned char*>(input.data()), input.size()), "") << file.path();
    ++count;
  }
  return count;
}

TEST(SuperLogFuzzCorpus, LogLines) { EXPECT_GT(ReplayCorpus("superlog_lines", superlog_inputs::RunLogLines), 0); }

TEST(SuperLogFuzzCorpus, SummaryFiles) {
  EXPECT_GT(ReplayCorpus("superlog_summary", superlog_inputs::RunSummaryFile), 0);
}

TEST(SuperLogFuzzCorpus, EmptyInputs) {
  const unsigned char none[1] = {0};
  EXPECT_EQ(superlog_inputs::RunLogLines(none, 0), "");
  EXPECT_EQ(superlog_inputs::RunLogLines(none, 1), "");
  EXPECT_EQ(superlog_inputs::RunSummaryFile(none, 0), "");
}

}  // namespace

// Replays every kept input of the request-surface fuzz targets through the
// same entry functions that the fuzzers call.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "settings/front_door_inputs.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;

using Entry = std::string (*)(const unsigned char*, size_t);

// Runs every file of tests/corpus/<target>/; returns how many were run.
int ReplayCorpus(const std::string& target, Entry entry) {
  fs::path dir = fs::path(testing_support::SourceDir()) / "tests" / "corpus" / target;
  int count = 0;
  for (const auto& file : fs::directory_iterator(dir)) {
    std::string input = testing_support::ReadFile(file.path().string());
    std::string problem =
        entry(reinterpret_cast<const unsigned char*>(input.data()), input.size());
    EXPECT_EQ(problem, "") << file.path();
    ++count;
  }
  return count;
}

TEST(FuzzCorpus, FormBodies) {
  EXPECT_GT(ReplayCorpus("form_body", front_door_inputs::RunFormBody), 0);
}

TEST(FuzzCorpus, KeywordWords) {
  EXPECT_GT(ReplayCorpus("keyword_words", front_door_inputs::RunKeywordWords), 0);
}

TEST(FuzzCorpus, ConfigurationFiles) {
  EXPECT_GT(ReplayCorpus("config_file", front_door_inputs::RunConfigFile), 0);
}

TEST(FuzzCorpus, EmptyAndOverlongInputs) {
  const unsigned char none[1] = {0};
  EXPECT_EQ(front_door_inputs::RunFormBody(none, 0), "");
  EXPECT_EQ(front_door_inputs::RunKeywordWords(none, 0), "");
  EXPECT_EQ(front_door_inputs::RunConfigFile(none, 0), "");
  std::string big = "username=" + std::string(70000, 'u') + "&" + std::string(9000, '=') +
                    "&%" + std::string(20000, '%');
  auto bytes = reinterpret_cast<const unsigned char*>(big.data());
  EXPECT_EQ(front_door_inputs::RunFormBody(bytes, big.size()), "");
  EXPECT_EQ(front_door_inputs::RunKeywordWords(bytes, big.size()), "");
  EXPECT_EQ(front_door_inputs::RunConfigFile(bytes, big.size()), "");
}

}  // namespace

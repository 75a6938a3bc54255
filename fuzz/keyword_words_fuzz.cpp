// Fuzz target for keyword words: one word a line, its first byte choosing the
// source name and the rank of the word that follows it.
#include <sstream>

#include "fuzz_target.h"
#include "request_records.h"

static std::string RunKeywordWords(const unsigned char* data, size_t size) {
  static const char* const kSources[] = {"form", "ini", "FORM", "other"};
  RequestRecords r;
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(in, line);) {
    if (line.empty()) continue;
    const auto selector = static_cast<unsigned char>(line[0]);
    CompareParam(line.c_str() + 1, &r.settings, &r.env, kSources[selector % 4], static_cast<int32_t>(selector / 4 % 6) - 1);
  }
  return r.Overrun();
}

LOGLANTERN_FUZZ_TARGET(RunKeywordWords)

// Fuzz target for keyword words: one word a line, its first byte choosing the source and rank.
//
// A memory error, a crash or a text field that ran past its width stops the
// fuzzer.  Inputs that found a fault are kept under tests/corpus/keyword_words/,
// where a unit test replays them on every run.
//
// Built by fuzz/build.sh; run with a scratch corpus beside the kept one:
//   build-fuzz/keyword_words_fuzz -max_total_time=60 /tmp/keyword_words_corpus tests/corpus/keyword_words
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/settings/front_door_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string problem = front_door_inputs::RunKeywordWords(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

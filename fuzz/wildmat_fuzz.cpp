// Fuzz target for the find pattern: the input is "pattern\ntext".
//
// Each input runs the real matcher through DoMatch, super_wildmat and
// super_wildmati and, when short enough, the plain backtracking reference;
// any disagreement or memory error stops the fuzzer.  Inputs that found a
// fault are kept under tests/corpus/wildmat/, where a unit test replays them.
//
// Built by fuzz/build.sh; run with a scratch corpus beside the kept one:
//   build-fuzz/wildmat_fuzz -max_len=300 /tmp/wildmat_corpus tests/corpus/wildmat
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/analysis/wildmat_reference.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string problem =
      wildmat_reference::CheckWildmatInput(reinterpret_cast<const char*>(data), size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

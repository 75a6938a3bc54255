// Fuzz target for the Networks file: the first line is the item, the rest the file (cut at a line "--").
// A memory error, a crash or a broken invariant stops the fuzzer; inputs
// that found a fault are kept under tests/corpus/networks/ and replayed by
// the unit tests.  It writes its files in the working folder:
//   cd "$(mktemp -d)" && build-fuzz/networks_fuzz corpus tests/corpus/networks
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/driver/web_fuzz_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::string problem = web_fuzz_inputs::RunNetworks(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

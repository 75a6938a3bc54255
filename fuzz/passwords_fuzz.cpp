// Fuzz target for the passwords file with the internal-address list: user name, list, client address and file, cut at lines "--".
// A memory error, a crash or a broken invariant stops the fuzzer; inputs
// that found a fault are kept under tests/corpus/passwords/ and replayed by
// the unit tests.  It writes its files in the working folder:
//   cd "$(mktemp -d)" && build-fuzz/passwords_fuzz corpus tests/corpus/passwords
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../tests/driver/web_fuzz_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::string problem = web_fuzz_inputs::RunPasswords(data, size);
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

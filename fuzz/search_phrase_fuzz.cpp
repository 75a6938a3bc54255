// Fuzz target for search-phrase extraction: the input is a referrer.
// It writes its files in the working folder: run it in a scratch folder.
#include "fuzz_target.h"
#include "../tests/driver/web_fuzz_inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  return StopOn(web_fuzz_inputs::RunSearchPhrase(data, size));
}

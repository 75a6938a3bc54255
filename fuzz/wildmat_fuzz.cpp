// Fuzz target for the find pattern: the input is "pattern\ntext", run through
// DoMatch, super_wildmat and super_wildmati against the backtracking reference.
#include "fuzz_target.h"
#include "../tests/analysis/wildmat_reference.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  return StopOn(wildmat_reference::CheckWildmatInput(reinterpret_cast<const char*>(data), size));
}

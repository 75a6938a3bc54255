// Fuzz target for a whole CGI request, run in process (query string, client
// address, POSTed body and configuration file, cut at lines "--"), in a scratch
// folder: every run ends with a page that starts with the program's headers.
// Most runs end through exit(), so the target is linked with --wrap=exit.
#include <csetjmp>

#include "fuzz_target.h"
#include "../tests/driver/web_fuzz_inputs.h"

extern "C" void __real_exit(int status);
static jmp_buf mEndOfRun;
static bool mInRun = false;

extern "C" void __wrap_exit(int status) {
  if (mInRun) longjmp(mEndOfRun, 1);
  __real_exit(status);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  web_fuzz_inputs::PrepareRequest(data, size);
  if (!freopen("page", "wb", stdout)) abort();
  char program[] = "loglantern";
  char* argv[] = {program, nullptr};
  mInRun = true;
  if (setjmp(mEndOfRun) == 0) LoglanternMain(1, argv);
  mInRun = false;
  fflush(stdout);
  return StopOn(web_fuzz_inputs::CheckPage(web_fuzz_inputs::ReadAll("page")));
}

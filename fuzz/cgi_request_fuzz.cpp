// Fuzz target for a whole CGI request, run in process: the input holds the
// query string, the client's address, the POSTed body and the configuration
// file, cut at lines "--".  Every run must end with a page that starts with
// the program's headers; a memory error or crash stops the fuzzer.
//
// The program ends most runs through exit(); fuzz/build.sh links this
// target with --wrap=exit so that such an ending returns here instead.
// Run it in a scratch folder (it writes its files in the working folder):
//   cd "$(mktemp -d)" && build-fuzz/cgi_request_fuzz -detect_leaks=0 corpus tests/corpus/cgi_request
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <string>

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
  const std::string problem = web_fuzz_inputs::CheckPage(web_fuzz_inputs::ReadAll("page"));
  if (!problem.empty()) {
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
  }
  return 0;
}

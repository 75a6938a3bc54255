#include <cstdio>

#include "driver/driver.h"

// The page goes out in large blocks; output is flushed only where the run
// asks for it (flushtoserver) and at exit.
static char mStdoutBuffer[64 * 1024];

int main(int argc, char** argv) {
  setvbuf(stdout, mStdoutBuffer, _IOFBF, sizeof mStdoutBuffer);
  return LoglanternMain(argc, argv);
}

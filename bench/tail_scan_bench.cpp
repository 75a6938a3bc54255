// Start-up date-range scan of a log whose last line is very long (100 MB
// unless a size in MB is given): times GetLogFileDateRange, which reads the
// first dated line and then searches back from the end for the last one,
// and prints the time, the MB/s over the last line and the peak memory.
// The long line should cost about one reading of its bytes (under a second
// for 100 MB on an ordinary machine), not one per 2000-byte stretch.
//
//   tail_scan_bench [megabytes]
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/fixed_text.h"
#include "superlog/superlog.h"
#include "superlog/superlog_state.h"

int main(int argc, char** argv) {
  const long megabytes = argc > 1 ? atol(argv[1]) : 100;
  char path[] = "/tmp/loglantern-tail-bench-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0 || megabytes <= 0) return 1;
  const std::string head =
      "1.2.3.4 - - [01/Mar/1999:10:00:00 +0000] \"GET / HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [02/Mar/1999:10:00:00 +0000] \"GET / HTTP/1.0\" 200 1\n";
  std::string chunk(1 << 20, 'x');
  FILE* out = fdopen(fd, "wb");
  fwrite(head.data(), 1, head.size(), out);
  for (long i = 0; i < megabytes; ++i) fwrite(chunk.data(), 1, chunk.size(), out);
  fclose(out);
  const uint64_t size = head.size() + static_cast<uint64_t>(megabytes) * chunk.size();

  SuperLog_ResetForTesting();
  ll::CopyText(mState.mLogSummaryItem.name, path);
  mState.mCurFileSize = static_cast<uint32_t>(size);
  const auto start = std::chrono::steady_clock::now();
  GetLogFileDateRange();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  unlink(path);

  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  printf("last line of %ld MB: %.3f s, %.0f MB/s, last date %s", megabytes, seconds, megabytes / seconds,
         mState.mLogSummaryItem.end ? ll::Ctime32(mState.mLogSummaryItem.end) : "none\n");
  printf("peak memory: %ld kB\n", usage.ru_maxrss);
  return mState.mLogSummaryItem.end != 0 ? 0 : 1;
}

#include "base/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ll {

FILE* OpenRegularFile(const char* path, const char* mode) {
  if (!path || !*path || !mode) return nullptr;
  const bool append = mode[0] == 'a';
  // O_NONBLOCK keeps open() from waiting for the other end of a FIFO; the
  // descriptor is then examined before a single byte is read or written.
  const int flags = (append ? O_WRONLY | O_CREAT | O_APPEND : O_RDONLY) | O_NONBLOCK | O_CLOEXEC;
  const int fd = open(path, flags, 0666);
  if (fd < 0) return nullptr;
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    return nullptr;
  }
  // A regular file never blocks; clear the flag so the stream is an
  // ordinary one for whatever the caller does with it.
  const int status = fcntl(fd, F_GETFL);
  if (status != -1) fcntl(fd, F_SETFL, status & ~O_NONBLOCK);
  FILE* file = fdopen(fd, mode);
  if (!file) close(fd);
  return file;
}

}  // namespace ll

// Opening the files the program reads or appends to.
#pragma once

#include <cstdio>

namespace ll {

// Opens path with fopen's mode ("r", "rb" or "a") only when the path,
// after its symbolic links are followed, names a regular file.  A device,
// FIFO, folder or socket gives null exactly as a missing file does, and
// the open never waits (a FIFO without a writer, a device that blocks).
// Append mode creates a missing file as fopen does.  The caller owns the
// stream and closes it with fclose.
FILE* OpenRegularFile(const char* path, const char* mode);

}  // namespace ll

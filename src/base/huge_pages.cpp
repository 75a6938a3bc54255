#include "base/huge_pages.h"

#include <sys/mman.h>

#include <cstdint>

namespace ll {
namespace {

bool Small(size_t bytes) { return bytes < kHugePageBytes; }
size_t Rounded(size_t bytes) { return (bytes + kHugePageBytes - 1) & ~(kHugePageBytes - 1); }

}  // namespace

void* MapHugeAligned(size_t bytes) {
  if (Small(bytes)) {
    void* mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return mapped == MAP_FAILED ? nullptr : mapped;
  }
  const size_t wanted = Rounded(bytes);
  const size_t mappedBytes = wanted + kHugePageBytes;
  void* mapped =
      mmap(nullptr, mappedBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return nullptr;
  const uintptr_t base = reinterpret_cast<uintptr_t>(mapped);
  const uintptr_t start = (base + kHugePageBytes - 1) & ~(kHugePageBytes - 1);
  if (start > base) munmap(mapped, start - base);
  if (base + mappedBytes > start + wanted)
    munmap(reinterpret_cast<void*>(start + wanted), base + mappedBytes - start - wanted);
  madvise(reinterpret_cast<void*>(start), wanted, MADV_HUGEPAGE);
  return reinterpret_cast<void*>(start);
}

void UnmapHugeAligned(void* memory, size_t bytes) {
  if (memory) munmap(memory, Small(bytes) ? bytes : Rounded(bytes));
}

}  // namespace ll

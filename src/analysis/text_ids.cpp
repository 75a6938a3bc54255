#include "analysis/text_ids.h"

#include <strings.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

namespace {

uint64_t LoadWord(const char* p, size_t n) {
  uint64_t w = 0;
  memcpy(&w, p, n);
  return w;
}

uint64_t MixWord(uint64_t h, uint64_t w) {
  h = (h ^ w) * 0x9fb21c651e98df25ull;
  return h ^ (h >> 29);
}

// LoadWord(text + i, len - i) for the 1 to 7 bytes left of a text, without
// a byte loop and without reading outside the text: a text of 8 bytes or
// more gives its last eight and drops those already hashed; shorter ones
// are put together from two overlapping loads.
uint64_t LoadTail(const char* text, size_t i, size_t len) {
  size_t n = len - i;
  if (len >= 8) {
    uint64_t w = LoadWord(text + len - 8, 8);
    if constexpr (std::endian::native == std::endian::little) return w >> (64 - 8 * n);
    return w << (64 - 8 * n);
  }
  const char* p = text + i;  // the text itself: shorter than a word
  if (n >= 4) return LoadWord(p, 4) | LoadWord(p + n - 4, 4) << (8 * (n - 4));
  if (n >= 2) return LoadWord(p, 2) | LoadWord(p + n - 2, 2) << (8 * (n - 2));
  return LoadWord(p, 1);
}

// With bits = 0x20 in every byte: clears bit 5 of every byte whose bit 6 is
// set, so that letters lose their case, and the few other bytes it merges
// ('@' with '`', say) only cost a comparison when their hashes meet; bytes
// below 0x40 (digits, marks) stay whole.  Cheaper than a true fold, and
// enough for hashing.  With bits = 0 the word stays as it is.
uint64_t HashFold(uint64_t w, uint64_t bits) { return w & ~((w >> 1) & bits); }

}  // namespace

// Two words at a time go into two independent lanes, so that their
// multiplications overlap.
uint32_t TextHash(const char* text, size_t len, bool foldCase) {
  const uint64_t fold = foldCase ? 0x2020202020202020ull : 0;
  uint64_t a = 0x243f6a8885a308d3ull ^ len, b = 0x13198a2e03707344ull;
  size_t i = 0;
  for (; i + 16 <= len; i += 16) {
    a = MixWord(a, HashFold(LoadWord(text + i, 8), fold));
    b = MixWord(b, HashFold(LoadWord(text + i + 8, 8), fold));
  }
  if (i + 8 <= len) {
    a = MixWord(a, HashFold(LoadWord(text + i, 8), fold));
    i += 8;
  }
  if (i < len) b = MixWord(b, HashFold(LoadTail(text, i, len), fold));
  uint64_t h = a ^ (b * 0xc4ceb9fe1a85ec53ull);
  h ^= h >> 32;
  h *= 0xff51afd7ed558ccdull;
  uint32_t tag = static_cast<uint32_t>(h >> 32);
  return tag ? tag : 1;  // tables mark a free slot with 0
}

#include "analysis/text_ids.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

uint64_t Load8(const char* p) {
  uint64_t w;
  memcpy(&w, p, 8);
  return w;
}

uint64_t Mix(uint64_t h, uint64_t w) {
  h = (h ^ w) * 0x9fb21c651e98df25ull;
  return h ^ (h >> 29);
}

}  // namespace

// Four words at a time go into four independent lanes, so that their
// multiplications overlap.
uint32_t TextHash(const char* text, size_t length) {
  uint64_t a = 0x243f6a8885a308d3ull ^ length, b = 0x13198a2e03707344ull,
           c = 0xa4093822299f31d0ull, d = 0x082efa98ec4e6c89ull;
  size_t i = 0;
  for (; i + 32 <= length; i += 32) {
    a = Mix(a, Load8(text + i));
    b = Mix(b, Load8(text + i + 8));
    c = Mix(c, Load8(text + i + 16));
    d = Mix(d, Load8(text + i + 24));
  }
  for (; i + 8 <= length; i += 8) a = Mix(a, Load8(text + i));
  if (i < length) {
    uint64_t w = 0;
    memcpy(&w, text + i, length - i);
    b = Mix(b, w);
  }
  uint64_t h = a ^ (b * 0xc4ceb9fe1a85ec53ull) ^ (c * 0x9fb21c651e98df25ull) ^ (d * 0xff51afd7ed558ccdull);
  h ^= h >> 32;
  h *= 0xff51afd7ed558ccdull;
  return static_cast<uint32_t>(h >> 32);
}

bool TextIds::Same(const Slot& s, const char* text, uint32_t length, bool fold) const {
  if (s.length != length) return false;
  const char* mine = length <= kInline ? s.text : texts_.data() + entries_[s.idPlusOne - 1].offset;
  // Folded texts are nearly always found in their first spelling.
  if (memcmp(mine, text, length) == 0) return true;
  return fold && strncasecmp(mine, text, length) == 0;
}

int64_t TextIds::Lookup(const char* text, uint32_t length, uint32_t hash, bool fold) const {
  if (slots_.empty()) return -1;
  size_t mask = slots_.size() - 1;
  for (size_t at = hash & mask;; at = (at + 1) & mask) {
    const Slot& s = slots_[at];
    if (!s.idPlusOne) return -1;
    if (s.hash == hash && Same(s, text, length, fold)) return s.idPlusOne - 1;
  }
}

uint32_t TextIds::Find(const char* text, uint32_t length, uint32_t hash, bool fold, bool* added) {
  if ((entries_.size() + 1) * 4 > slots_.size() * 3) Grow();
  size_t mask = slots_.size() - 1;
  size_t at = hash & mask;
  for (;; at = (at + 1) & mask) {
    const Slot& s = slots_[at];
    if (!s.idPlusOne) break;
    if (s.hash == hash && Same(s, text, length, fold)) {
      if (added) *added = false;
      return s.idPlusOne - 1;
    }
  }
  uint32_t id = static_cast<uint32_t>(entries_.size());
  entries_.push_back({static_cast<uint32_t>(texts_.size()), length, hash});
  texts_.insert(texts_.end(), text, text + length);
  texts_.push_back(0);
  Slot& s = slots_[at];
  s.hash = hash;
  s.idPlusOne = id + 1;
  s.length = length;
  memcpy(s.text, text, std::min(length, kInline));
  if (added) *added = true;
  return id;
}

void TextIds::Grow() {
  size_t size = slots_.empty() ? 1024 : slots_.size() * 2;
  HugeSlots<Slot> old;
  old.Swap(slots_);
  slots_.Make(size);
  for (const Slot& s : old) {
    if (!s.idPlusOne) continue;
    size_t at = s.hash & (size - 1);
    while (slots_[at].idPlusOne) at = (at + 1) & (size - 1);
    slots_[at] = s;
  }
}

long TextIds::Bytes() const {
  return static_cast<long>(slots_.Bytes() + entries_.capacity() * sizeof(Entry) +
                           texts_.capacity());
}

void TextIds::Clear() {
  slots_.Release();
  entries_ = {};
  texts_ = {};
}

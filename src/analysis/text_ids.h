// Numbers for texts: each distinct text gets the next number, from 0, and
// keeps its copy.  An open-addressed table finds a text with one probe in
// the common case; a slot is one cache line and holds a short text itself
// (most hosts, pages and browser names), so finding a known short text
// reads one line of memory.  Every text is also kept back to back in one
// buffer.  Exact: the hash only finds candidates, the texts are compared.
// Kept outside the memory ceiling (what is numbered must stay numbered).
#pragma once

#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/huge_pages.h"

// Memory for a hash table that is read at random once per hit: zeroed pages
// straight from the system, asked for as huge pages once the table is big
// enough to pay for one, since small pages would make most of those reads
// miss the address cache as well (and a request for a slot ahead of time
// then comes too late).
template <typename T>
class HugeSlots {
 public:
  HugeSlots() = default;
  HugeSlots(const HugeSlots&) = delete;
  HugeSlots& operator=(const HugeSlots&) = delete;
  ~HugeSlots() { Release(); }
  void Swap(HugeSlots& other) {
    std::swap(slots_, other.slots_);
    std::swap(size_, other.size_);
    std::swap(mappedBytes_, other.mappedBytes_);
  }
  // Makes n empty slots; ends the process with status 1 when refused.
  void Make(size_t n) {
    Release();
    mappedBytes_ = n * sizeof(T);
    slots_ = static_cast<T*>(ll::MapHugeAligned(mappedBytes_));
    if (!slots_) exit(1);
    size_ = n;
  }
  void Release() {
    ll::UnmapHugeAligned(slots_, mappedBytes_);
    slots_ = nullptr;
    size_ = 0;
    mappedBytes_ = 0;
  }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T& operator[](size_t i) { return slots_[i]; }
  const T& operator[](size_t i) const { return slots_[i]; }
  T* begin() { return slots_; }
  T* end() { return slots_ + size_; }
  const T* begin() const { return slots_; }
  const T* end() const { return slots_ + size_; }
  size_t Bytes() const { return size_ * sizeof(T); }

 private:
  T* slots_ = nullptr;
  size_t size_ = 0;
  size_t mappedBytes_ = 0;
};

// Nothing kept beside a text: a table of numbers only.
struct NoPayload {};

// A table of numbered texts that may keep a small record (the payload)
// beside each text in its slot, so that a caller who finds a text also has
// its record in the same cache line.
template <typename Payload>
class TextTable {
 public:
  // The number of text (length bytes, none of them needed to be NUL), which
  // is added when new (*added tells, when given), with a zeroed payload.
  // hash is the caller's hash of the text; equal texts must have equal
  // hashes.  With fold, texts that differ only in ASCII case are one text
  // (the first spelling is kept), and hash must be made accordingly.
  // *payload, when given, is set to the text's payload, valid until the
  // next new text.
  uint32_t Find(const char* text, uint32_t length, uint32_t hash, bool fold,
                bool* added = nullptr, Payload** payload = nullptr) {
    if ((entries_.size() + 1) * 4 > slots_.size() * 3) Grow();
    size_t mask = slots_.size() - 1;
    size_t at = hash & mask;
    for (;; at = (at + 1) & mask) {
      Slot& s = slots_[at];
      if (!s.idPlusOne) break;
      if (s.hash == hash && Same(s, text, length, fold)) {
        if (added) *added = false;
        if (payload) *payload = &s.payload;
        return s.idPlusOne - 1;
      }
    }
    uint32_t id = static_cast<uint32_t>(entries_.size());
    entries_.push_back(
        {static_cast<uint32_t>(texts_.size()), length, hash, static_cast<uint32_t>(at)});
    texts_.insert(texts_.end(), text, text + length);
    texts_.push_back(0);
    Slot& s = slots_[at];
    s.hash = hash;
    s.idPlusOne = id + 1;
    s.length = length;
    memcpy(s.text, text, std::min(length, kInline));
    if (added) *added = true;
    if (payload) *payload = &s.payload;
    return id;
  }
  // Requests the slot where finding a text of this hash starts.
  void Prefetch(uint32_t hash) const {
    if (!slots_.empty()) __builtin_prefetch(&slots_[hash & (slots_.size() - 1)]);
  }
  // The number of text, or -1 when it was never added.
  int64_t Lookup(const char* text, uint32_t length, uint32_t hash, bool fold) const {
    if (slots_.empty()) return -1;
    size_t mask = slots_.size() - 1;
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
      const Slot& s = slots_[at];
      if (!s.idPlusOne) return -1;
      if (s.hash == hash && Same(s, text, length, fold)) return s.idPlusOne - 1;
    }
  }

  // A numbered text, NUL-terminated; valid until the next new text.
  const char* Text(uint32_t id) const { return texts_.data() + entries_[id].offset; }
  uint32_t Length(uint32_t id) const { return entries_[id].length; }
  uint32_t Hash(uint32_t id) const { return entries_[id].hash; }
  // The payload of a numbered text; valid until the next new text.
  Payload& PayloadOf(uint32_t id) { return slots_[entries_[id].slot].payload; }

  size_t size() const { return entries_.size(); }
  long Bytes() const {
    return static_cast<long>(slots_.Bytes() + entries_.capacity() * sizeof(Entry) +
                             texts_.capacity());
  }
  void Clear() {
    slots_.Release();
    entries_ = {};
    texts_ = {};
  }

 private:
  struct Entry {
    uint32_t offset;
    uint32_t length;
    uint32_t hash;
    uint32_t slot;  // where the text is in slots_
  };
  // A slot is one cache line: its header, the text when it fits, and the
  // payload at the end where its alignment allows.
  static constexpr uint32_t kHeader = 12;
  static constexpr uint32_t kInline =
      std::is_empty_v<Payload>
          ? 64 - kHeader
          : static_cast<uint32_t>((64 - sizeof(Payload)) / alignof(Payload) * alignof(Payload)) -
                kHeader;
  struct alignas(64) Slot {
    uint32_t hash;
    uint32_t idPlusOne;  // 0: empty
    uint32_t length;
    char text[kInline];  // the text when it fits (not NUL-terminated)
    [[no_unique_address]] Payload payload;
  };
  static_assert(sizeof(Slot) == 64);
  bool Same(const Slot& s, const char* text, uint32_t length, bool fold) const {
    if (s.length != length) return false;
    const char* mine =
        length <= kInline ? s.text : texts_.data() + entries_[s.idPlusOne - 1].offset;
    // Folded texts are nearly always found in their first spelling.
    if (memcmp(mine, text, length) == 0) return true;
    return fold && strncasecmp(mine, text, length) == 0;
  }
  void Grow() {
    size_t size = slots_.empty() ? 1024 : slots_.size() * 2;
    HugeSlots<Slot> old;
    old.Swap(slots_);
    slots_.Make(size);
    for (const Slot& s : old) {
      if (!s.idPlusOne) continue;
      size_t at = s.hash & (size - 1);
      while (slots_[at].idPlusOne) at = (at + 1) & (size - 1);
      slots_[at] = s;
      entries_[s.idPlusOne - 1].slot = static_cast<uint32_t>(at);
    }
  }

  HugeSlots<Slot> slots_;  // a power of two long, or empty
  std::vector<Entry> entries_;
  std::vector<char> texts_;
};

using TextIds = TextTable<NoPayload>;

// The hash of the item lists and of the tables of TextIds: fast, never 0,
// and with foldCase the same for texts that differ only in ASCII case.
uint32_t TextHash(const char* text, size_t length, bool foldCase = false);

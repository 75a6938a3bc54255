// Item tables.
//
// Performance notes.  A list is an open-addressing hash table (linear
// probing, power-of-two capacity, at most 3/4 full) of pointers to nodes; a
// node and its text are one allocation.  Counting an existing text is one
// hash of its bytes and, usually, one probe.  Nothing keeps the text order
// while counting: SortList sorts an array of 16-byte entries (count and text
// prefix in one key, then the node, visited only when keys tie), and
// reclamation picks its victims with a bounded heap (ListLowestItems), so
// the order is computed only when it is looked at.
// Callers that know their texts ahead can make their keys early and have
// the slot and then the node fetched (PrefetchItemSlot, PrefetchItemNode)
// while they do other work.
// Removal shifts the following run of the table back instead of leaving
// tombstones, so a table never degrades after reclamations.
//
// Texts are cut at 243 characters before they are hashed or compared, so two
// texts that differ only after that count as one.  Lists counted ignoring
// case fold ASCII letters only, which is what strcasecmp does in the "C"
// locale the program runs in.
#include "analysis/list.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "analysis/smart_memory.h"
#include "analysis/text_ids.h"
#include "base/globals.h"
#include "base/huge_pages.h"

// One slot of the index: the node's hash beside the node, so that a probe
// reads one cache line of the table and visits only the node whose hash
// matches.
struct Slot {
  uint32_t tag;     // the node's hash; 0 = free
  uint32_t length;  // the node's text length: most mismatches end here
  ListItem* node;
};

struct VictimQueue;

struct ItemList {
  Slot* slots;           // `capacity` entries; tag 0 = free
  uint32_t capacity;     // a power of two
  uint32_t size;         // nodes in the list
  int32_t total;         // sum of the nodes' counts
  int ignoreCase;        // fixed by the first add_item
  VictimQueue* victims;  // reclamation order, once smart memory has asked for it
};

namespace {

// A candidate of ListLowestItems: its level and the first eight bytes of
// its text (folded for lists counted ignoring case) as a big-endian number,
// so that most comparisons need not visit the node.
struct Candidate {
  int32_t level;
  uint64_t prefix;
  ListItem* node;
};
constexpr int kCandidateCapacity = 4096;

// Module state: the lists themselves belong to their callers.
bool mRefuseSortMemoryForTesting = false;
Candidate mpCandidates[kCandidateCapacity];  // ListLowestItems' heap; no allocation there

constexpr size_t kMaxItemLength = 243;
constexpr size_t kNodeAccountedBytes = 256;
constexpr uint32_t kFirstCapacity = 8;

// Ends the run when a list cannot get the memory it needs.
[[noreturn]] void OutOfMemory() { exit(1); }

// Wrapping 32-bit addition, as the counters behave on a 32-bit platform.
int32_t Add32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// --- Node memory ---
//
// Nodes come from 2 MB chunks asked for as huge pages and cut in order, so
// that the nodes a run counts into lie close together and one TLB entry
// covers thousands of them: counting visits a node per hit, at random.  A
// freed node goes on the free list of its size (nodes are whole 8-byte
// words, at most kLargestNode bytes) and is the next node of that size.
// Chunks go back to the system when the last node is freed.  Under the
// address sanitizer every node is its own malloc, so that it sees each one.

constexpr size_t kChunkBytes = ll::kHugePageBytes;
constexpr size_t kLargestNode = sizeof(ListItem) + 248;
constexpr size_t kSizeClasses = kLargestNode / 8 + 1;

struct PoolChunk {
  PoolChunk* next;  // the chunk taken before this one
};

struct NodePool {
  char* cursor = nullptr;  // the unused rest of the newest chunk
  char* end = nullptr;
  PoolChunk* chunks = nullptr;
  void* freeNodes[kSizeClasses] = {};  // each freed node holds the next one's address
  size_t liveNodes = 0;
};

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kNodesFromMalloc = true;
#else
constexpr bool kNodesFromMalloc = false;
#endif

NodePool mPool;

// A new chunk (aligned to its size, so that it can be one huge page), or
// false when the system refuses it.
bool NewChunk() {
  char* chunk = static_cast<char*>(ll::MapHugeAligned(kChunkBytes));
  if (!chunk) return false;
  // The record sits at the chunk's start; nodes follow it.
  PoolChunk* record = reinterpret_cast<PoolChunk*>(chunk);
  *record = PoolChunk{mPool.chunks};
  mPool.chunks = record;
  mPool.cursor = chunk + sizeof(PoolChunk);
  mPool.end = chunk + kChunkBytes;
  return true;
}

void ReleaseChunks() {
  for (PoolChunk* c = mPool.chunks; c;) {
    PoolChunk* next = c->next;
    ll::UnmapHugeAligned(c, kChunkBytes);
    c = next;
  }
  mPool = NodePool{};
}

void FreeNodeMemory(ListItem* node, size_t bytes) {
  if (kNodesFromMalloc) {
    free(node);
    return;
  }
  void** slot = &mPool.freeNodes[bytes / 8];
  *reinterpret_cast<void**>(node) = *slot;
  *slot = node;
  if (--mPool.liveNodes == 0) ReleaseChunks();
}

// --- Text comparison and hashing under a list's comparison ---
//
// Node texts are stored in a run of whole 8-byte words (the terminator and
// zero bytes fill the last one), so two node texts can be compared a word at
// a time without reading outside either allocation.

unsigned char FoldByte(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

uint64_t LoadWord(const char* p, size_t n) {
  uint64_t w = 0;
  memcpy(&w, p, n);
  return w;
}

// The bytes of a loaded word as a number whose order is their text order.
uint64_t TextOrderWord(uint64_t w) {
  if constexpr (std::endian::native == std::endian::little) return __builtin_bswap64(w);
  return w;
}

// Lower-cases the ASCII capitals among eight bytes at once.
uint64_t FoldWord(uint64_t w) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  uint64_t low7 = w & ~kHigh;
  uint64_t atLeastA = low7 + (0x80 - 'A') * kOnes;
  uint64_t aboveZ = low7 + (0x80 - 'Z' - 1) * kOnes;
  uint64_t upper = atLeastA & ~aboveZ & ~w & kHigh;
  return w | (upper >> 2);
}

// 0x80 in every zero byte of w and nothing elsewhere.
uint64_t ZeroBytes(uint64_t w) {
  constexpr uint64_t kLow7 = 0x7f7f7f7f7f7f7f7full;
  return ~(((w & kLow7) + kLow7) | w | kLow7);
}

// How many leading bytes two node texts share, at most limit (folded when
// asked).  Both are stored in whole words, zeros after the terminator, so
// they are compared a word at a time; neither is read past its terminator.
size_t CommonPrefix(const char* a, const char* b, size_t limit, int ignoreCase) {
  size_t i = 0;
  for (; i < limit; i += 8) {
    uint64_t x = LoadWord(a + i, 8), y = LoadWord(b + i, 8);
    if (ignoreCase) x = FoldWord(x), y = FoldWord(y);
    // The first differing byte, or the terminator of texts equal so far.
    const uint64_t stop = (x ^ y) ? x ^ y : ZeroBytes(y);
    if (stop) {
      if constexpr (std::endian::native == std::endian::little) {
        i += static_cast<size_t>(__builtin_ctzll(stop)) / 8;
      } else {
        i += static_cast<size_t>(__builtin_clzll(stop)) / 8;
      }
      break;
    }
  }
  return std::min(i, limit);
}

size_t PaddedTextSize(size_t len) { return (len + 8) & ~size_t{7}; }

// The bytes of a node whose text is len bytes long.
size_t NodeBytes(size_t len) { return sizeof(ListItem) + PaddedTextSize(len); }

// strcmp (or, ignoring case, strcasecmp in the "C" locale) of two node
// texts; only the sign of the result means anything.
int CompareNodeTexts(const char* a, const char* b, int ignoreCase) {
  for (size_t i = 0;; i += 8) {
    uint64_t wa = LoadWord(a + i, 8), wb = LoadWord(b + i, 8);
    if (ignoreCase) {
      wa = FoldWord(wa);
      wb = FoldWord(wb);
    }
    wa = TextOrderWord(wa);
    wb = TextOrderWord(wb);
    if (uint64_t zeros = ZeroBytes(wa)) {
      // a ends in this word: what follows its terminator does not count.
      uint64_t keep = ~uint64_t{0} << (56 - __builtin_clzll(zeros));
      wa &= keep;
      wb &= keep;
      return wa == wb ? 0 : (wa < wb ? -1 : 1);
    }
    if (wa != wb) return wa < wb ? -1 : 1;
  }
}

// True when the node's text, which is len bytes long like the key, equals
// the key.
bool SameText(const char* nodeText, const char* key, size_t len, int ignoreCase) {
  if (memcmp(nodeText, key, len) == 0) return true;
  if (!ignoreCase) return false;
  // Same text in another spelling: rare, so the byte-wise fold comes second.
  for (size_t i = 0; i < len; ++i) {
    if (FoldByte(static_cast<unsigned char>(nodeText[i])) !=
        FoldByte(static_cast<unsigned char>(key[i])))
      return false;
  }
  return true;
}

// --- The hash index ---

ItemList* NewList(int ignoreCase) {
  ItemList* list = static_cast<ItemList*>(malloc(sizeof(ItemList)));
  Slot* slots = static_cast<Slot*>(calloc(kFirstCapacity, sizeof(Slot)));
  if (!list || !slots) OutOfMemory();
  *list = ItemList{slots, kFirstCapacity, 0, 0, ignoreCase, nullptr};
  return list;
}

// The node that holds the text, or null.
ListItem* FindNode(const ItemList* list, const char* text, size_t len, uint32_t h) {
  uint32_t mask = list->capacity - 1;
  for (uint32_t i = h & mask;; i = (i + 1) & mask) {
    const Slot& slot = list->slots[i];
    if (slot.tag == 0) return nullptr;
    // A node's text follows its record in the same allocation (AddNode), so
    // the comparison need not first load the node's item pointer.
    if (slot.tag == h && slot.length == len &&
        SameText(reinterpret_cast<const char*>(slot.node + 1), text, len, list->ignoreCase))
      return slot.node;
  }
}

// Puts a node's slot into the first free slot of its probe run.
void PlaceNode(Slot* slots, uint32_t capacity, const Slot& slot) {
  uint32_t mask = capacity - 1;
  uint32_t i = slot.tag & mask;
  while (slots[i].tag) i = (i + 1) & mask;
  slots[i] = slot;
}

// Makes room for one more node.  When the table cannot grow it keeps
// filling the old one (slower probes, same answers) until it holds no free
// slot besides the one that ends every probe.
void ReserveSlot(ItemList* list) {
  uint64_t wanted = (static_cast<uint64_t>(list->size) + 1) * 4;
  if (wanted <= static_cast<uint64_t>(list->capacity) * 3) return;
  uint32_t capacity = list->capacity * 2;
  Slot* slots = capacity ? static_cast<Slot*>(calloc(capacity, sizeof(Slot))) : nullptr;
  if (!slots) {
    if (list->size + 2 > list->capacity) OutOfMemory();
    return;
  }
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (list->slots[i].tag) PlaceNode(slots, capacity, list->slots[i]);
  }
  free(list->slots);
  list->slots = slots;
  list->capacity = capacity;
}

// Empties slot i and moves later members of its probe run back so that
// every node stays reachable from its home slot.
void EraseSlot(ItemList* list, uint32_t i) {
  uint32_t mask = list->capacity - 1;
  list->slots[i] = Slot{};
  for (uint32_t j = (i + 1) & mask; list->slots[j].tag; j = (j + 1) & mask) {
    uint32_t home = list->slots[j].tag & mask;
    // The node at j may fill the hole at i unless its home lies in (i, j].
    bool homeBetween = i <= j ? (home > i && home <= j) : (home > i || home <= j);
    if (!homeBetween) {
      list->slots[i] = list->slots[j];
      list->slots[j] = Slot{};
      i = j;
    }
  }
}

void NoteNewNode(ItemList* list, ListItem* node);  // below, with the victim queue

// Creates the node for a text not yet in the list and indexes it.  The node
// comes from smart memory, which may reclaim nodes of this very list first;
// the free slot is therefore looked up after the allocation.
ListItem* AddNode(ItemList* list, ListInfo* info, const char* text, size_t len, uint32_t h,
                  ListItem* parent) {
  ReserveSlot(list);
  size_t textSize = PaddedTextSize(len);
  void* memory = smart_alloc(kNodeAccountedBytes, info, parent, NodeBytes(len));
  if (!memory) OutOfMemory();
  ListItem* node = static_cast<ListItem*>(memory);
  node->next = nullptr;
  node->sublist = nullptr;
  node->count = 1;
  node->hashCode = h;
  node->item = reinterpret_cast<char*>(node + 1);
  memset(node->item + textSize - 8, 0, 8);
  memcpy(node->item, text, len);
  PlaceNode(list->slots, list->capacity, Slot{h, static_cast<uint32_t>(len), node});
  NoteNewNode(list, node);
  list->size++;
  list->total = Add32(list->total, 1);
  return node;
}

// --- Count order ---

// True when a comes before b in count order: higher count first, equal
// counts in descending text order.
bool BeforeInCountOrder(const ListItem* a, const ListItem* b, int ignoreCase) {
  if (a->count != b->count) return a->count > b->count;
  return CompareNodeTexts(a->item, b->item, ignoreCase) > 0;
}

ListItem* MergeChains(ListItem* a, ListItem* b, int ignoreCase) {
  ListItem head{};
  ListItem* tail = &head;
  while (a && b) {
    ListItem** from = BeforeInCountOrder(b, a, ignoreCase) ? &b : &a;
    tail->next = *from;
    tail = *from;
    *from = (*from)->next;
  }
  tail->next = a ? a : b;
  return head.next;
}

// Bottom-up merge sort of a null-terminated chain: O(n log n) and no memory,
// but a walk over scattered nodes; used when the sort array cannot be had.
ListItem* SortChain(ListItem* chain, int ignoreCase) {
  for (size_t run = 1;; run *= 2) {
    ListItem* result = nullptr;
    ListItem** resultTail = &result;
    size_t merges = 0;
    while (chain) {
      ListItem* a = chain;
      ListItem* aEnd = a;
      for (size_t k = 1; k < run && aEnd->next; ++k) aEnd = aEnd->next;
      ListItem* b = aEnd->next;
      aEnd->next = nullptr;
      ListItem* bEnd = b;
      for (size_t k = 1; bEnd && k < run && bEnd->next; ++k) bEnd = bEnd->next;
      chain = bEnd ? bEnd->next : nullptr;
      if (bEnd) bEnd->next = nullptr;
      *resultTail = MergeChains(a, b, ignoreCase);
      while (*resultTail) resultTail = &(*resultTail)->next;
      ++merges;
    }
    if (merges <= 1) return result;
    chain = result;
  }
}

// A node with a sort key: its count (made unsigned in the same order) above
// four bytes of its text (folded for lists counted ignoring case) read as a
// big-endian number, so that most comparisons of a sort need not visit the
// node.  The bytes are taken after the prefix that every text of the list
// shares (URLs all begin with the same few bytes), which orders the texts
// as the whole texts would; nodes whose keys tie are then keyed by the
// next eight bytes and sorted among themselves.
struct SortEntry {
  uint64_t key;
  ListItem* node;
};

// The 8 bytes of a node text at offset `at` that lie inside its padded
// storage (size bytes), zeros beyond it, folded when asked.
uint64_t TextWordAt(const char* text, size_t at, size_t size, int ignoreCase) {
  uint64_t w = at >= size ? 0 : LoadWord(text + at, std::min<size_t>(8, size - at));
  return ignoreCase ? FoldWord(w) : w;
}

// How many leading bytes, a whole number of words, every text in the
// list's slots shares (folded when the list ignores case).
size_t SharedPrefix(const ItemList* list) {
  const char* first = nullptr;
  size_t shared = 0;
  for (uint32_t i = 0; i < list->capacity; ++i) {
    const Slot& slot = list->slots[i];
    if (!slot.node) continue;
    const char* text = slot.node->item;
    const size_t size = PaddedTextSize(slot.length);
    if (!first) {
      first = text;
      shared = size - 8;  // the last word holds the terminator
      continue;
    }
    // Whole words, short of each text's last (it holds the terminator).
    shared = CommonPrefix(first, text, std::min(shared, size - 8), list->ignoreCase) & ~size_t{7};
    if (shared == 0) break;
  }
  return shared;
}

SortEntry MakeSortEntry(ListItem* node, size_t length, size_t at, int ignoreCase) {
  const size_t size = PaddedTextSize(length);
  const uint64_t head = TextOrderWord(TextWordAt(node->item, at, size, ignoreCase));
  const uint64_t count = static_cast<uint32_t>(node->count) ^ 0x80000000u;
  return SortEntry{count << 32 | head >> 32, node};
}

struct CountOrder {
  int ignoreCase;
  bool operator()(const SortEntry& a, const SortEntry& b) const {
    if (a.key != b.key) return a.key > b.key;
    return CompareNodeTexts(a.node->item, b.node->item, ignoreCase) > 0;
  }
};

// Sorts entries [first, last), whose keys tie, by the eight text bytes
// after those their keys hold, and the whole texts where those tie too.
void SortTiedEntries(SortEntry* first, SortEntry* last, size_t at, int ignoreCase) {
  for (SortEntry* e = first; e != last; ++e) {
    const size_t size = PaddedTextSize(strlen(e->node->item));
    e->key = TextOrderWord(TextWordAt(e->node->item, at + 4, size, ignoreCase));
  }
  std::sort(first, last, CountOrder{ignoreCase});
}

// Sorts the list's nodes in an array and chains them; false when the array
// cannot be had.
bool SortInArray(ItemList* list, ListItem** head) {
  if (mRefuseSortMemoryForTesting) return false;
  SortEntry* entries = static_cast<SortEntry*>(malloc(sizeof(SortEntry) * list->size));
  if (!entries) return false;
  const size_t at = SharedPrefix(list);
  size_t n = 0;
  for (uint32_t i = 0; i < list->capacity; ++i) {
    const Slot& slot = list->slots[i];
    if (slot.node) entries[n++] = MakeSortEntry(slot.node, slot.length, at, list->ignoreCase);
  }
  std::sort(entries, entries + n, [](const SortEntry& a, const SortEntry& b) { return a.key > b.key; });
  for (size_t i = 0, j; i < n; i = j) {
    for (j = i + 1; j < n && entries[j].key == entries[i].key;) ++j;
    if (j - i > 1) SortTiedEntries(entries + i, entries + j, at, list->ignoreCase);
  }
  for (size_t i = 0; i + 1 < n; ++i) entries[i].node->next = entries[i + 1].node;
  entries[n - 1].node->next = nullptr;
  *head = entries[0].node;
  free(entries);
  return true;
}

// --- Reclamation order ---

int32_t ReclaimLevel(const ListItem* node) { return node->count < 1 ? 1 : node->count; }

struct ReclaimOrder {
  int ignoreCase;
  bool operator()(const ListItem* a, const ListItem* b) const {
    int32_t la = ReclaimLevel(a), lb = ReclaimLevel(b);
    if (la != lb) return la < lb;
    return CompareNodeTexts(a->item, b->item, ignoreCase) < 0;
  }
};

// Nodes are counted per level up to this many buckets; the last bucket
// holds every higher level.
constexpr uint32_t kLevelBuckets = 64;

uint32_t LevelBucket(const ListItem* node) {
  int32_t level = ReclaimLevel(node);
  return level < static_cast<int32_t>(kLevelBuckets) ? static_cast<uint32_t>(level)
                                                      : kLevelBuckets - 1;
}

uint64_t TextPrefix(const char* text, int ignoreCase) {
  uint64_t w = LoadWord(text, 8);
  if (ignoreCase) w = FoldWord(w);
  return TextOrderWord(w);
}

// True when a comes before b in reclamation order.
bool CandidateBefore(const Candidate& a, const Candidate& b, int ignoreCase) {
  if (a.level != b.level) return a.level < b.level;
  if (a.prefix != b.prefix) return a.prefix < b.prefix;
  return CompareNodeTexts(a.node->item, b.node->item, ignoreCase) < 0;
}

// The first `capacity` nodes offered, in reclamation order: a max-heap whose
// top is the last of those kept so far.
struct CandidateHeap {
  Candidate* entries;
  int size;
  int capacity;
  int ignoreCase;

  bool Before(int i, int j) const { return CandidateBefore(entries[i], entries[j], ignoreCase); }
  void Swap(int i, int j) { std::swap(entries[i], entries[j]); }

  void SiftUp(int i) {
    for (int parent; i > 0 && Before(parent = (i - 1) / 2, i); i = parent) Swap(i, parent);
  }
  void SiftDown(int i) {
    for (;;) {
      int largest = i;
      int left = 2 * i + 1, right = left + 1;
      if (left < size && Before(largest, left)) largest = left;
      if (right < size && Before(largest, right)) largest = right;
      if (largest == i) return;
      Swap(i, largest);
      i = largest;
    }
  }
  void Offer(ListItem* node) {
    Candidate c{ReclaimLevel(node), TextPrefix(node->item, ignoreCase), node};
    if (size < capacity) {
      entries[size] = c;
      SiftUp(size++);
    } else if (size > 0 && CandidateBefore(c, entries[0], ignoreCase)) {
      entries[0] = c;
      SiftDown(0);
    }
  }
  // Writes the kept nodes to out in reclamation order; returns how many.
  int Drain(ListItem** out) {
    int n = size;
    while (size > 0) {
      out[size - 1] = entries[0].node;  // the last kept goes last
      entries[0] = entries[--size];
      SiftDown(0);
    }
    return n;
  }
};

// Calls visit(node) for every node of the list but `skip`.  The slots are
// read in order but the nodes are scattered, so nodes a little ahead are
// requested early and their cache misses overlap.
template <typename Visit>
void ForEachNode(ItemList* list, const ListItem* skip, Visit visit) {
  constexpr uint32_t kAhead = 16;
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (i + kAhead < list->capacity && list->slots[i + kAhead].node)
      __builtin_prefetch(list->slots[i + kAhead].node);
    ListItem* node = list->slots[i].node;
    if (node && node != skip) visit(node);
  }
}

// --- The victim queue: reclamation order kept between reclamations ---
//
// Smart memory asks for a list's nodes in reclamation order, one at a time,
// and frees most of them.  Scanning the whole list for every reclamation
// would cost the list's size each time; the queue instead holds the first
// nodes in that order (a quarter of the list at least), sorted once, and is
// kept right lazily, so that counting a hit costs nothing:
// - every node outside the queue sorted after the queue's last entry (the
//   cut) when the queue was built, and counts only grow, so it still does
//   (a count would have to pass 2^31 and wrap to break this: two thousand
//   million hits of one text in one run);
// - a node created since is compared with the cut once, and joins the queue
//   (through `pending`, sorted in at the next request) only when it sorts
//   before it;
// - an entry whose node was counted since it was queued is met at the front,
//   and then either moves back to its new place or, when it now sorts after
//   the cut, leaves the queue.
// When the queue runs dry it is built again from a scan of the list.  The
// texts of a built queue are copied side by side, so that sorting them reads
// one compact block instead of scattered nodes.

}  // namespace

struct QueueEntry {
  int32_t level;     // ReclaimLevel when queued
  bool shared;       // the text begins with the queue's shared prefix
  uint64_t prefix;   // when shared: the eight bytes after it, in text order
  const char* text;  // the node's text or a copy of it, in whole words
  ListItem* node;
};

struct VictimQueue {
  QueueEntry* entries;  // [head, size) in reclamation order
  uint32_t head, size, capacity;
  QueueEntry* pending;  // nodes to sort in, in no order
  uint32_t pendingSize, pendingCapacity;
  char* texts;          // the copied texts of the entries of the build
  bool everything;      // the build took every node: there is no cut
  QueueEntry cut;       // the last entry of the build; its text is cutText
  bool hasHeld;         // held: the protected node, set aside until the
  QueueEntry held;      // next request that protects another node
  size_t prefixLength;  // bytes that the texts of the build all begin with
  const char* prefixText;  // one of those texts (in `texts`)
  alignas(8) char cutText[kMaxItemLength + 9];
};

namespace {

uint32_t mMinimumQueue = 4096;

// Entries whose texts both begin with the queue's shared prefix are ordered
// by the bytes after it before their texts are compared: the texts of a
// list often begin alike (every URL with the same directory, every
// referrer with "http://www."), and most comparisons then need no text.
bool EntryBefore(const QueueEntry& a, const QueueEntry& b, int ignoreCase) {
  if (a.level != b.level) return a.level < b.level;
  if (a.shared && b.shared && a.prefix != b.prefix) return a.prefix < b.prefix;
  return CompareNodeTexts(a.text, b.text, ignoreCase) < 0;
}

// An entry for node with its text at text (the node's or a copy), keyed for
// queue q (null: not yet known, the entry is not shared); `sharing` says
// the text is known to begin with q's prefix.
QueueEntry MakeEntry(ListItem* node, const char* text, const VictimQueue* q, int ignoreCase,
                     bool sharing = false) {
  QueueEntry e{ReclaimLevel(node), false, 0, text, node};
  if (!q) return e;
  const size_t at = q->prefixLength;
  if (!sharing && CommonPrefix(text, q->prefixText, at, ignoreCase) < at) return e;
  uint64_t w = LoadWord(text + at, strnlen(text + at, 8));
  e.shared = true;
  e.prefix = TextOrderWord(ignoreCase ? FoldWord(w) : w);
  return e;
}

QueueEntry EntryOf(ListItem* node, int ignoreCase, const VictimQueue* q) {
  return MakeEntry(node, node->item, q, ignoreCase);
}

// How many leading bytes the n texts of entries share (folded when the list
// ignores case).  The texts are in whole words, zeros after the terminator.
size_t SharedTextPrefix(const QueueEntry* entries, uint32_t n, int ignoreCase) {
  if (n == 0) return 0;
  const char* first = entries[0].text;
  size_t shared = strlen(first);
  for (uint32_t k = 1; k < n && shared > 0; ++k)
    shared = CommonPrefix(first, entries[k].text, shared, ignoreCase);
  return shared;
}

bool AfterCut(const VictimQueue* q, const QueueEntry& e, int ignoreCase) {
  return !q->everything && EntryBefore(q->cut, e, ignoreCase);
}

void DropVictims(ItemList* list) {
  if (VictimQueue* q = list->victims) {
    free(q->entries);
    free(q->pending);
    free(q->texts);
    free(q);
    list->victims = nullptr;
  }
}

// Grows an array of entries to hold at least `needed`; false when memory is
// refused (the array is unchanged then).
bool Reserve(QueueEntry** array, uint32_t* capacity, uint64_t needed) {
  if (needed <= *capacity) return true;
  uint64_t grown = std::max<uint64_t>(needed, uint64_t{*capacity} * 2);
  if (grown > UINT32_MAX) return false;
  void* p = realloc(*array, grown * sizeof(QueueEntry));
  if (!p) return false;
  *array = static_cast<QueueEntry*>(p);
  *capacity = static_cast<uint32_t>(grown);
  return true;
}

// Puts a node into pending.  The queue keeps room to merge every pending
// entry in, so that a request never needs memory; when none can be had the
// queue is dropped (and built again when next asked for).
void AddPending(ItemList* list, const QueueEntry& e) {
  VictimQueue* q = list->victims;
  uint64_t merged = uint64_t{q->size - q->head} + q->pendingSize + 1;
  if (!Reserve(&q->pending, &q->pendingCapacity, uint64_t{q->pendingSize} + 1) ||
      !Reserve(&q->entries, &q->capacity, merged)) {
    DropVictims(list);
    return;
  }
  q->pending[q->pendingSize++] = e;
}

// A node just created joins the queue when it sorts before the cut.
void NoteNewNode(ItemList* list, ListItem* node) {
  if (!list->victims) return;
  QueueEntry e = EntryOf(node, list->ignoreCase, list->victims);
  if (!AfterCut(list->victims, e, list->ignoreCase)) AddPending(list, e);
}

// Sorts the pending entries (those that still sort before the cut) into the
// queue.
void MergePending(ItemList* list) {
  VictimQueue* q = list->victims;
  int ic = list->ignoreCase;
  uint32_t p = 0;
  for (uint32_t i = 0; i < q->pendingSize; ++i) {
    QueueEntry e = EntryOf(q->pending[i].node, ic, q);
    if (!AfterCut(q, e, ic)) q->pending[p++] = e;
  }
  q->pendingSize = 0;
  if (p == 0) return;
  auto before = [ic](const QueueEntry& a, const QueueEntry& b) { return EntryBefore(a, b, ic); };
  std::sort(q->pending, q->pending + p, before);
  uint32_t n = q->size - q->head;
  memmove(q->entries, q->entries + q->head, n * sizeof(QueueEntry));
  q->head = 0;
  // Merge from the back into [0, n + p); AddPending reserved the room.
  uint32_t out = n + p, a = n, b = p;
  while (b > 0) {
    if (a > 0 && before(q->pending[b - 1], q->entries[a - 1]))
      q->entries[--out] = q->entries[--a];
    else
      q->entries[--out] = q->pending[--b];
  }
  q->size = n + p;
}

// Builds the queue from a scan of the list: the first quarter of its nodes
// (at least mMinimumQueue) in reclamation order, leaving out protectedNode.
// False when memory is refused.
bool BuildVictims(ItemList* list, const ListItem* protectedNode) {
  int ic = list->ignoreCase;
  uint32_t perLevel[kLevelBuckets] = {};
  uint64_t textsPerLevel[kLevelBuckets] = {};
  uint32_t nodes = 0;
  QueueEntry held{};
  bool hasHeld = false;
  ForEachNode(list, nullptr, [&](ListItem* node) {
    if (node == protectedNode) {  // held aside, to rejoin the queue later
      held = EntryOf(node, ic, nullptr);
      hasHeld = true;
      return;
    }
    uint32_t bucket = LevelBucket(node);
    perLevel[bucket]++;
    textsPerLevel[bucket] += PaddedTextSize(strlen(node->item));
    nodes++;
  });
  uint32_t wanted = std::max(mMinimumQueue, list->size / 4);
  // The candidates: every node of the levels up to the one where `wanted`
  // is reached.
  uint32_t cutBucket = 1, candidates = perLevel[1];
  uint64_t textBytes = textsPerLevel[1];
  while (candidates < wanted && cutBucket + 1 < kLevelBuckets) {
    candidates += perLevel[++cutBucket];
    textBytes += textsPerLevel[cutBucket];
  }
  VictimQueue* q = static_cast<VictimQueue*>(calloc(1, sizeof(VictimQueue)));
  QueueEntry* entries =
      static_cast<QueueEntry*>(malloc(std::max<uint32_t>(candidates, 1) * sizeof(QueueEntry)));
  char* texts = static_cast<char*>(malloc(std::max<uint64_t>(textBytes, 8)));
  if (!q || !entries || !texts) {
    free(q);
    free(entries);
    free(texts);
    return false;
  }
  uint32_t n = 0;
  char* at = texts;
  ForEachNode(list, protectedNode, [&](ListItem* node) {
    if (LevelBucket(node) > cutBucket) return;
    size_t size = PaddedTextSize(strlen(node->item));
    memcpy(at, node->item, size);  // the node's own padding comes along
    entries[n++] = MakeEntry(node, at, nullptr, ic);
    at += size;
  });
  // Keyed by the bytes after the prefix that all of them share.
  q->prefixLength = SharedTextPrefix(entries, n, ic);
  q->prefixText = n ? entries[0].text : "";
  for (uint32_t i = 0; i < n; ++i) entries[i] = MakeEntry(entries[i].node, entries[i].text, q, ic, true);
  if (hasHeld) held = EntryOf(held.node, ic, q);
  auto before = [ic](const QueueEntry& a, const QueueEntry& b) { return EntryBefore(a, b, ic); };
  q->everything = n == nodes && n <= wanted;
  if (!q->everything) {
    std::nth_element(entries, entries + wanted - 1, entries + n, before);
    n = wanted;
  }
  std::sort(entries, entries + n, before);
  if (!q->everything) {
    q->cut = entries[n - 1];
    strcpy(q->cutText, q->cut.text);
    memset(q->cutText + strlen(q->cutText), 0, 8);
    q->cut.text = q->cutText;
  }
  q->capacity = std::max<uint32_t>(candidates, 1);
  if (n < q->capacity / 2) {  // give back what the selection needed
    if (void* p = realloc(entries, std::max<uint32_t>(n, 1) * sizeof(QueueEntry))) {
      entries = static_cast<QueueEntry*>(p);
      q->capacity = std::max<uint32_t>(n, 1);
    }
  }
  q->entries = entries;
  q->head = 0;
  q->size = n;
  q->texts = texts;
  q->held = held;
  q->hasHeld = hasHeld;
  list->victims = q;
  return true;
}

// Moves the queue's front entry, whose node was counted since it was
// queued, to its new place, or out of the queue when it now sorts after
// the cut.
void RequeueFront(ItemList* list) {
  VictimQueue* q = list->victims;
  int ic = list->ignoreCase;
  QueueEntry e = q->entries[q->head++];
  e.level = ReclaimLevel(e.node);
  if (AfterCut(q, e, ic)) return;
  QueueEntry* first = q->entries + q->head;
  QueueEntry* place = std::lower_bound(
      first, q->entries + q->size, e,
      [ic](const QueueEntry& a, const QueueEntry& b) { return EntryBefore(a, b, ic); });
  memmove(first - 1, first, (place - first) * sizeof(QueueEntry));
  place[-1] = e;
  q->head--;
}

ListItem* FindInChain(ListItem* node, const char* text) {
  while (node && strcmp(node->item, text) != 0) node = node->next;
  return node;
}

}  // namespace

void init_list(ItemList** list, ListInfo** info, const char* name) {
  *list = nullptr;
  ListInfo* record = static_cast<ListInfo*>(malloc(sizeof(ListInfo)));
  if (!record) OutOfMemory();
  *record = ListInfo{list, name, 0, 0, nullptr};
  if (gListInfo.last)
    gListInfo.last->next = record;
  else
    gListInfo.first = record;
  gListInfo.last = record;
  if (info) *info = record;
}

void add_item(ItemList** list, ListInfo* info, const char* item, const char* secondary,
              ListItem* parent, int ignoreCase) {
  if (!list || !item || !*item) return;
  add_item_key(list, info, MakeItemKey(*list, item, strnlen(item, kMaxItemLength), ignoreCase),
               secondary, parent);
}

void* ListNodeMemory(size_t bytes) {
  if (kNodesFromMalloc) return malloc(bytes);
  if (bytes > kLargestNode || bytes % 8 != 0) return nullptr;
  void** slot = &mPool.freeNodes[bytes / 8];
  void* node = *slot;
  if (node) {
    *slot = *static_cast<void**>(node);
  } else {
    if (static_cast<size_t>(mPool.end - mPool.cursor) < bytes && !NewChunk()) return nullptr;
    node = mPool.cursor;
    mPool.cursor += bytes;
  }
  ++mPool.liveNodes;
  return node;
}

ItemKey MakeItemKey(const ItemList* list, const char* item, size_t length, int ignoreCase) {
  int folded = list ? list->ignoreCase : ignoreCase;
  uint32_t len = static_cast<uint32_t>(std::min(length, kMaxItemLength));
  return ItemKey{item, len, TextHash(item, len, folded != 0), ignoreCase, folded};
}

void PrefetchItemSlot(const ItemList* list, const ItemKey& key) {
  if (list) __builtin_prefetch(&list->slots[key.hash & (list->capacity - 1)]);
}

void PrefetchItemNode(const ItemList* list, const ItemKey& key) {
  if (!list) return;
  // Most nodes of a table three quarters full sit a slot or two past their
  // home slot; the first few slots share the home slot's cache line.
  constexpr uint32_t kSlotsLooked = 4;
  uint32_t mask = list->capacity - 1;
  uint32_t i = key.hash & mask;
  for (uint32_t n = 0; n < kSlotsLooked; ++n, i = (i + 1) & mask) {
    const Slot& slot = list->slots[i];
    if (slot.tag == 0) return;
    if (slot.tag != key.hash) continue;
    // The record and its text, which often reaches into the next cache line.
    const char* first = reinterpret_cast<const char*>(slot.node);
    const char* last = reinterpret_cast<const char*>(slot.node + 1) + slot.length;
    for (const char* p = first; p <= last; p += 64) __builtin_prefetch(p);
    __builtin_prefetch(last);
    return;
  }
}

ListItem* add_item_key(ItemList** list, ListInfo* info, const ItemKey& key, const char* secondary,
                       ListItem* parent) {
  if (!list || key.length == 0) return nullptr;
  if (secondary && !*secondary) secondary = nullptr;
  if (!*list) *list = NewList(key.ignoreCase);
  ItemList* l = *list;
  uint32_t h = key.hash;
  // A key made before its list existed may differ from the list's comparison.
  if (l->ignoreCase != key.hashFolded) h = TextHash(key.text, key.length, l->ignoreCase != 0);
  ListItem* node = FindNode(l, key.text, key.length, h);
  if (node) {
    node->count = Add32(node->count, 1);
    l->total = Add32(l->total, 1);
  } else {
    node = AddNode(l, info, key.text, key.length, h, parent);
  }
  if (secondary) add_item(&node->sublist, info, secondary, nullptr, node, key.ignoreCase);
  return node;
}

void CountNodeAgain(ItemList* list, ListItem* node, int32_t n) {
  node->count = Add32(node->count, n);
  list->total = Add32(list->total, n);
}

ListItem* SortList(ItemList* list) {
  if (!list || list->size == 0) return nullptr;
  ListItem* head = nullptr;
  if (SortInArray(list, &head)) return head;
  ListItem* chain = nullptr;
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (ListItem* node = list->slots[i].node) {
      node->next = chain;
      chain = node;
    }
  }
  return SortChain(chain, list->ignoreCase);
}

ListItem* MoveItem(ListItem* head, const char* item, const char* behind) {
  if (!head || strcmp(head->item, item) == 0) return head;
  ListItem* before = head;
  while (before->next && strcmp(before->next->item, item) != 0) before = before->next;
  ListItem* moving = before->next;
  if (!moving) return head;  // not in the chain: nothing to move
  before->next = moving->next;
  if (!*behind) {
    moving->next = head;
    return moving;
  }
  ListItem* target = FindInChain(head, behind);
  if (!target) target = before;  // unknown target: put it back where it was
  moving->next = target->next;
  target->next = moving;
  return head;
}

int list_length(const ItemList* list) { return list ? static_cast<int>(list->size) : 0; }

int32_t TotalList(const ItemList* list) { return list ? list->total : 0; }

void destroy(ItemList* list) {
  if (!list) return;
  DropVictims(list);
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (ListItem* node = list->slots[i].node) {
      destroy(node->sublist);
      FreeNodeMemory(node, NodeBytes(list->slots[i].length));
    }
  }
  free(list->slots);
  free(list);
}

void destroyListInfo() {
  for (ListInfo* record = gListInfo.first; record;) {
    ListInfo* next = record->next;
    free(record);
    record = next;
  }
  gListInfo = ListCatalogue{};
}

int ListLowestItems(ItemList* list, const ListItem* protectedNode, ListItem** out, int max) {
  if (!list || max <= 0) return 0;
  // First count the nodes per level, then keep every node below the level
  // where `max` is reached and, of that level, only the first ones in text
  // order: most nodes are placed by their count alone.
  uint32_t perLevel[kLevelBuckets] = {};
  ForEachNode(list, protectedNode, [&](ListItem* node) { perLevel[LevelBucket(node)]++; });
  uint32_t below = 0;
  uint32_t cut = 1;
  while (cut < kLevelBuckets && below + perLevel[cut] <= static_cast<uint32_t>(max))
    below += perLevel[cut++];
  ReclaimOrder order{list->ignoreCase};
  if (cut == kLevelBuckets) {  // every node fits
    int n = 0;
    ForEachNode(list, protectedNode, [&](ListItem* node) { out[n++] = node; });
    std::sort(out, out + n, order);
    return n;
  }
  int wanted = std::min(max - static_cast<int>(below), kCandidateCapacity);
  CandidateHeap heap{mpCandidates, 0, wanted, list->ignoreCase};
  int low = 0;
  ForEachNode(list, protectedNode, [&](ListItem* node) {
    uint32_t bucket = LevelBucket(node);
    if (bucket < cut)
      out[low++] = node;
    else if (bucket == cut)
      heap.Offer(node);
  });
  std::sort(out, out + low, order);
  return low + heap.Drain(out + low);
}

ListItem* ListNextVictim(ItemList* list, const ListItem* protectedNode, bool* ok) {
  *ok = true;
  if (!list) return nullptr;
  if (!list->victims && !BuildVictims(list, protectedNode)) {
    *ok = false;
    return nullptr;
  }
  VictimQueue* q = list->victims;
  if (q->hasHeld && q->held.node != protectedNode) {
    q->hasHeld = false;
    AddPending(list, q->held);
    if (!list->victims) return ListNextVictim(list, protectedNode, ok);
  }
  if (q->pendingSize) MergePending(list);
  for (bool rebuilt = false;;) {
    if (q->head == q->size) {
      // Every node left sorts after the cut (or is the protected one).
      if (q->everything || rebuilt) return nullptr;
      DropVictims(list);
      if (!BuildVictims(list, protectedNode)) {
        *ok = false;
        return nullptr;
      }
      q = list->victims;
      rebuilt = true;
      continue;
    }
    QueueEntry& front = q->entries[q->head];
    if (ReclaimLevel(front.node) != front.level) {
      RequeueFront(list);
    } else if (front.node == protectedNode) {
      q->held = front;
      q->hasHeld = true;
      q->head++;
    } else {
      return front.node;
    }
  }
}

void ListSetMinimumVictimQueueForTesting(uint32_t entries) {
  mMinimumQueue = std::max<uint32_t>(entries, 1);
}

int ListRemoveItem(ItemList* list, ListItem* node) {
  if (VictimQueue* q = list->victims) {
    if (q->head < q->size && q->entries[q->head].node == node)
      q->head++;
    else
      DropVictims(list);  // removed out of turn: the queue no longer knows the list
  }
  uint32_t mask = list->capacity - 1;
  uint32_t i = node->hashCode & mask;
  while (list->slots[i].node != node) {
    if (!list->slots[i].tag) return 0;  // not a node of this list
    i = (i + 1) & mask;
  }
  size_t bytes = NodeBytes(list->slots[i].length);
  EraseSlot(list, i);
  list->size--;
  list->total = Add32(list->total, -node->count);
  int freed = 1 + list_length(node->sublist);
  destroy(node->sublist);
  FreeNodeMemory(node, bytes);
  return freed;
}

namespace {

// Bob Jenkins' lookup2 mix of three 32-bit values.
void Lookup2Mix(uint32_t& a, uint32_t& b, uint32_t& c) {
  a -= b; a -= c; a ^= (c >> 13);
  b -= c; b -= a; b ^= (a << 8);
  c -= a; c -= b; c ^= (b >> 13);
  a -= b; a -= c; a ^= (c >> 12);
  b -= c; b -= a; b ^= (a << 16);
  c -= a; c -= b; c ^= (b >> 5);
  a -= b; a -= c; a ^= (c >> 3);
  b -= c; b -= a; b ^= (a << 10);
  c -= a; c -= b; c ^= (b >> 15);
}

uint32_t LittleEndianWord(const unsigned char* k) {
  return k[0] | (uint32_t{k[1]} << 8) | (uint32_t{k[2]} << 16) | (uint32_t{k[3]} << 24);
}

}  // namespace

uint32_t hash(const void* key, uint32_t length, uint32_t initval) {
  const unsigned char* k = static_cast<const unsigned char*>(key);
  uint32_t a = 0x9e3779b9u, b = 0x9e3779b9u, c = initval;
  uint32_t len = length;
  while (len >= 12) {
    a += LittleEndianWord(k);
    b += LittleEndianWord(k + 4);
    c += LittleEndianWord(k + 8);
    Lookup2Mix(a, b, c);
    k += 12;
    len -= 12;
  }
  c += length;
  switch (len) {  // every case falls through to the next
    case 11: c += uint32_t{k[10]} << 24; [[fallthrough]];
    case 10: c += uint32_t{k[9]} << 16; [[fallthrough]];
    case 9: c += uint32_t{k[8]} << 8; [[fallthrough]];
    case 8: b += uint32_t{k[7]} << 24; [[fallthrough]];
    case 7: b += uint32_t{k[6]} << 16; [[fallthrough]];
    case 6: b += uint32_t{k[5]} << 8; [[fallthrough]];
    case 5: b += k[4]; [[fallthrough]];
    case 4: a += uint32_t{k[3]} << 24; [[fallthrough]];
    case 3: a += uint32_t{k[2]} << 16; [[fallthrough]];
    case 2: a += uint32_t{k[1]} << 8; [[fallthrough]];
    case 1: a += k[0]; [[fallthrough]];
    default: break;
  }
  Lookup2Mix(a, b, c);
  return c;
}

void ListRefuseSortMemoryForTesting(bool refuse) { mRefuseSortMemoryForTesting = refuse; }

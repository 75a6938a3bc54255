// Item tables.
//
// Performance notes.  A list is an open-addressing hash table (linear
// probing, power-of-two capacity, at most 3/4 full) of pointers to nodes; a
// node and its text are one allocation.  Counting an existing text is one
// hash of its bytes and, usually, one probe.  Nothing keeps the text order
// while counting: SortList orders by count with a merge sort of the node
// chain, and reclamation picks its victims with a bounded heap
// (ListLowestItems), so the order is computed only when it is looked at.
// Removal shifts the following run of the table back instead of leaving
// tombstones, so a table never degrades after reclamations.
//
// Texts are cut at 243 characters before they are hashed or compared, so two
// texts that differ only after that count as one.  Lists counted ignoring
// case fold ASCII letters only, which is what strcasecmp does in the "C"
// locale the program runs in.
#include "analysis/list.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "analysis/smart_memory.h"
#include "base/globals.h"

struct ItemList {
  ListItem** slots;   // `capacity` entries, null = free
  uint32_t capacity;  // a power of two
  uint32_t size;      // nodes in the list
  int32_t total;      // sum of the nodes' counts
  int ignoreCase;     // fixed by the first add_item
};

namespace {

constexpr size_t kMaxItemLength = 243;
constexpr size_t kNodeAccountedBytes = 256;
constexpr uint32_t kFirstCapacity = 8;

// Ends the run when a list cannot get the memory it needs.
[[noreturn]] void OutOfMemory() { exit(1); }

// Wrapping 32-bit addition, as the counters behave on a 32-bit platform.
int32_t Add32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// --- Text comparison and hashing under a list's comparison ---

unsigned char FoldByte(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

int CompareFolded(const char* a, const char* b) {
  const unsigned char* x = reinterpret_cast<const unsigned char*>(a);
  const unsigned char* y = reinterpret_cast<const unsigned char*>(b);
  for (;; ++x, ++y) {
    int d = FoldByte(*x) - FoldByte(*y);
    if (d != 0 || *x == 0) return d;
  }
}

int CompareText(const char* a, const char* b, int ignoreCase) {
  return ignoreCase ? CompareFolded(a, b) : strcmp(a, b);
}

// True when the node's text equals the first len bytes of key (which hold
// no terminator).  Stops at the node's terminator, so it never reads past a
// shorter node text.
bool SameText(const char* nodeText, const char* key, size_t len, int ignoreCase) {
  if (!ignoreCase) return strncmp(nodeText, key, len) == 0 && nodeText[len] == 0;
  for (size_t i = 0; i < len; ++i) {
    if (FoldByte(static_cast<unsigned char>(nodeText[i])) !=
        FoldByte(static_cast<unsigned char>(key[i])))
      return false;
  }
  return nodeText[len] == 0;
}

uint64_t LoadWord(const char* p, size_t n) {
  uint64_t w = 0;
  memcpy(&w, p, n);
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

uint64_t MixWord(uint64_t h, uint64_t w) {
  h = (h ^ w) * 0x9fb21c651e98df25ull;
  return h ^ (h >> 29);
}

// The index's hash: fast, word at a time, folding case when asked.
uint32_t IndexHash(const char* text, size_t len, int ignoreCase) {
  uint64_t h = 0x243f6a8885a308d3ull ^ len;
  size_t i = 0;
  for (; i + 8 <= len; i += 8) {
    uint64_t w = LoadWord(text + i, 8);
    h = MixWord(h, ignoreCase ? FoldWord(w) : w);
  }
  if (i < len) {
    uint64_t w = LoadWord(text + i, len - i);
    h = MixWord(h, ignoreCase ? FoldWord(w) : w);
  }
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdull;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ull;
  h ^= h >> 33;
  return static_cast<uint32_t>(h);
}

// --- The hash index ---

ItemList* NewList(int ignoreCase) {
  ItemList* list = static_cast<ItemList*>(malloc(sizeof(ItemList)));
  ListItem** slots = static_cast<ListItem**>(calloc(kFirstCapacity, sizeof(ListItem*)));
  if (!list || !slots) OutOfMemory();
  *list = ItemList{slots, kFirstCapacity, 0, 0, ignoreCase};
  return list;
}

// The slot that holds the text, or the free slot where it would go.
ListItem** FindSlot(ItemList* list, const char* text, size_t len, uint32_t h) {
  uint32_t mask = list->capacity - 1;
  for (uint32_t i = h & mask;; i = (i + 1) & mask) {
    ListItem* node = list->slots[i];
    if (!node || (node->hashCode == h && SameText(node->item, text, len, list->ignoreCase)))
      return &list->slots[i];
  }
}

ListItem** FreeSlot(ListItem** slots, uint32_t capacity, uint32_t h) {
  uint32_t mask = capacity - 1;
  uint32_t i = h & mask;
  while (slots[i]) i = (i + 1) & mask;
  return &slots[i];
}

// Makes room for one more node.  When the table cannot grow it keeps
// filling the old one (slower probes, same answers) until it holds no free
// slot besides the one that ends every probe.
void ReserveSlot(ItemList* list) {
  uint64_t wanted = (static_cast<uint64_t>(list->size) + 1) * 4;
  if (wanted <= static_cast<uint64_t>(list->capacity) * 3) return;
  uint32_t capacity = list->capacity * 2;
  ListItem** slots = capacity ? static_cast<ListItem**>(calloc(capacity, sizeof(ListItem*)))
                              : nullptr;
  if (!slots) {
    if (list->size + 2 > list->capacity) OutOfMemory();
    return;
  }
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (ListItem* node = list->slots[i]) *FreeSlot(slots, capacity, node->hashCode) = node;
  }
  free(list->slots);
  list->slots = slots;
  list->capacity = capacity;
}

// Empties slot i and moves later members of its probe run back so that
// every node stays reachable from its home slot.
void EraseSlot(ItemList* list, uint32_t i) {
  uint32_t mask = list->capacity - 1;
  list->slots[i] = nullptr;
  for (uint32_t j = (i + 1) & mask; list->slots[j]; j = (j + 1) & mask) {
    uint32_t home = list->slots[j]->hashCode & mask;
    // The node at j may fill the hole at i unless its home lies in (i, j].
    bool homeBetween = i <= j ? (home > i && home <= j) : (home > i || home <= j);
    if (!homeBetween) {
      list->slots[i] = list->slots[j];
      list->slots[j] = nullptr;
      i = j;
    }
  }
}

// Creates the node for a text not yet in the list and indexes it.  The node
// comes from smart memory, which may reclaim nodes of this very list first;
// the free slot is therefore looked up after the allocation.
ListItem* AddNode(ItemList* list, ListInfo* info, const char* text, size_t len, uint32_t h,
                  ListItem* parent) {
  ReserveSlot(list);
  void* memory = smart_alloc(kNodeAccountedBytes, info, parent, sizeof(ListItem) + len + 1);
  if (!memory) OutOfMemory();
  ListItem* node = static_cast<ListItem*>(memory);
  node->next = nullptr;
  node->sublist = nullptr;
  node->count = 1;
  node->hashCode = h;
  node->item = reinterpret_cast<char*>(node + 1);
  memcpy(node->item, text, len);
  node->item[len] = 0;
  *FreeSlot(list->slots, list->capacity, h) = node;
  list->size++;
  list->total = Add32(list->total, 1);
  return node;
}

// --- Count order ---

// True when a comes before b in count order: higher count first, equal
// counts in descending text order.
bool BeforeInCountOrder(const ListItem* a, const ListItem* b, int ignoreCase) {
  if (a->count != b->count) return a->count > b->count;
  return CompareText(a->item, b->item, ignoreCase) > 0;
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

// Bottom-up merge sort of a null-terminated chain: O(n log n), no memory.
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

// --- Reclamation order ---

int32_t ReclaimLevel(const ListItem* node) { return node->count < 1 ? 1 : node->count; }

struct ReclaimOrder {
  int ignoreCase;
  bool operator()(const ListItem* a, const ListItem* b) const {
    int32_t la = ReclaimLevel(a), lb = ReclaimLevel(b);
    if (la != lb) return la < lb;
    return CompareText(a->item, b->item, ignoreCase) < 0;
  }
};

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
  if (secondary && !*secondary) secondary = nullptr;
  if (!*list) *list = NewList(ignoreCase);
  ItemList* l = *list;
  size_t len = strnlen(item, kMaxItemLength);
  uint32_t h = IndexHash(item, len, l->ignoreCase);
  ListItem* node = *FindSlot(l, item, len, h);
  if (node) {
    node->count = Add32(node->count, 1);
    l->total = Add32(l->total, 1);
  } else {
    node = AddNode(l, info, item, len, h, parent);
  }
  if (secondary) add_item(&node->sublist, info, secondary, nullptr, node, ignoreCase);
}

ListItem* SortList(ItemList* list) {
  if (!list || list->size == 0) return nullptr;
  ListItem* chain = nullptr;
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (ListItem* node = list->slots[i]) {
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
  for (uint32_t i = 0; i < list->capacity; ++i) {
    if (ListItem* node = list->slots[i]) {
      destroy(node->sublist);
      free(node);
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
  ReclaimOrder order{list->ignoreCase};
  int kept = 0;
  // out[0..kept) is a max-heap: its top is the last of the nodes kept so far.
  for (uint32_t i = 0; i < list->capacity; ++i) {
    ListItem* node = list->slots[i];
    if (!node || node == protectedNode) continue;
    if (kept < max) {
      out[kept++] = node;
      std::push_heap(out, out + kept, order);
    } else if (order(node, out[0])) {
      std::pop_heap(out, out + kept, order);
      out[kept - 1] = node;
      std::push_heap(out, out + kept, order);
    }
  }
  std::sort_heap(out, out + kept, order);
  return kept;
}

int ListRemoveItem(ItemList* list, ListItem* node) {
  uint32_t mask = list->capacity - 1;
  uint32_t i = node->hashCode & mask;
  while (list->slots[i] != node) {
    if (!list->slots[i]) return 0;  // not a node of this list
    i = (i + 1) & mask;
  }
  EraseSlot(list, i);
  list->size--;
  list->total = Add32(list->total, -node->count);
  int freed = 1 + list_length(node->sublist);
  destroy(node->sublist);
  free(node);
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

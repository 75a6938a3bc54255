// Smart memory.
//
// A reclamation frees, from the chosen list, the nodes of lowest count
// first and, among equal counts, in ascending text order, stopping when the
// reclaim size is freed (tested before each node) or the list is down to the
// floor (tested after each node).  That is the order of a walk over the list
// in text order with a count threshold that rises by one per walk; instead of
// walking, the victims come one by one from the list's own queue in that
// order (ListNextVictim), which costs about what the victims cost.  When
// that queue cannot have memory (a reclamation may be running because memory
// was refused), they are taken in batches from ListLowestItems instead, which
// scans the list once per batch into a fixed array here and needs no memory.
#include "analysis/smart_memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "analysis/list.h"
#include "base/globals.h"
#include "settings/stats_fields.h"

namespace {

constexpr int kBatchCapacity = 4096;
constexpr int32_t kNodeAccountedBytes = 256;

int mSmartMemoryEnabled = 0;
int mKeepEntries = 0;
int mReclaimSize = 0;
int mMaxBytesToAllocate = 0;
int mRefusalsForTesting = 0;       // memory requests still to refuse
ListItem* mpBatch[kBatchCapacity];  // victims of the current reclamation step
void (*mpBeforeReclaim)() = nullptr;

// Wrapping 32-bit arithmetic, as the statistics behave on a 32-bit platform.
int32_t Add32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t Mul32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Node memory from the lists' pool, or a plain malloc for other texts.
void* RawAlloc(size_t size, bool node) {
  if (mRefusalsForTesting > 0) {
    --mRefusalsForTesting;
    return nullptr;
  }
  return node ? ListNodeMemory(size) : malloc(size ? size : 1);
}

void RaisePeak() {
  if (gSM_CurrentBytesAllocated > gSM_MaximumBytesAllocated)
    gSM_MaximumBytesAllocated = gSM_CurrentBytesAllocated;
}

// The first list in catalogue order among those with the most entries, or
// null for an empty catalogue.
ListInfo* LongestList() {
  ListInfo* longest = gListInfo.first;
  for (ListInfo* info = gListInfo.first; info; info = info->next) {
    if (info->entries > longest->entries) longest = info;
  }
  return longest;
}

// How many victims to ask for: no more than can be freed before the target
// is met (each node frees at least 256 bytes) or the floor is reached.
int BatchSize(const ListInfo* info, int32_t target, int32_t freed) {
  int64_t toTarget = (static_cast<int64_t>(target) - freed + kNodeAccountedBytes - 1) /
                     kNodeAccountedBytes;
  int64_t toFloor = static_cast<int64_t>(info->entries) - mKeepEntries;
  int64_t wanted = std::min<int64_t>({toTarget, toFloor, kBatchCapacity});
  return static_cast<int>(std::max<int64_t>(wanted, 1));
}

void FreeVictim(ListInfo* info, ItemList* list, ListItem* node, int32_t* freed) {
  int32_t bytes = Mul32(ListRemoveItem(list, node), kNodeAccountedBytes);
  *freed = Add32(*freed, bytes);
  gSM_CurrentBytesAllocated = Add32(gSM_CurrentBytesAllocated, -bytes);
  info->entries--;
  info->reclaimed++;
}

enum class CutEnd { kTargetReached, kFloorReached, kNothingLeft };

// Frees nodes of one list in reclamation order until the target is met, the
// list is at the floor, or nothing but the protected node is left.
CutEnd CutList(ListInfo* info, const ListItem* protectedNode, int32_t target, int32_t* freed) {
  ItemList* list = info->list ? *info->list : nullptr;
  for (;;) {
    if (*freed >= target) return CutEnd::kTargetReached;
    bool ok = true;
    ListItem* node = ListNextVictim(list, protectedNode, &ok);
    if (!ok) break;  // no memory for the list's queue: take batches from scans
    if (!node) return CutEnd::kNothingLeft;
    FreeVictim(info, list, node, freed);
    if (info->entries <= mKeepEntries) return CutEnd::kFloorReached;
  }
  for (;;) {
    if (*freed >= target) return CutEnd::kTargetReached;
    int n = ListLowestItems(list, protectedNode, mpBatch, BatchSize(info, target, *freed));
    if (n == 0) return CutEnd::kNothingLeft;
    for (int i = 0; i < n; ++i) {
      if (*freed >= target) return CutEnd::kTargetReached;
      FreeVictim(info, list, mpBatch[i], freed);
      if (info->entries <= mKeepEntries) return CutEnd::kFloorReached;
    }
  }
}

}  // namespace

void smart_memory_init(const StatsFields* settings) {
  mSmartMemoryEnabled = settings->smartMemoryEnabled;
  mKeepEntries = settings->smartMemoryKeepEntries;
  mReclaimSize = settings->smartMemoryReclaimSize;
  mMaxBytesToAllocate =
      settings->smartMemoryMaxMemory >= 500 ? Mul32(settings->smartMemoryMaxMemory, 1024) : 0;
}

void* smart_alloc(size_t size, ListInfo* info, ListItem* parent, size_t realSize) {
  if (!mSmartMemoryEnabled) return RawAlloc(realSize, true);
  void* memory = nullptr;
  if (mMaxBytesToAllocate == 0 || gSM_CurrentBytesAllocated < mMaxBytesToAllocate)
    memory = RawAlloc(realSize, true);
  if (!memory) {
    RaisePeak();
    smart_free(parent);
    memory = RawAlloc(realSize, true);
    if (!memory) return nullptr;
  }
  if (!parent && info) info->entries++;
  int32_t accounted = static_cast<int32_t>(size);
  gSM_TotalBytesAllocated = Add32(gSM_TotalBytesAllocated, accounted);
  gSM_CurrentBytesAllocated = Add32(gSM_CurrentBytesAllocated, accounted);
  return memory;
}

void smart_memory_before_reclaim(void (*flush)()) { mpBeforeReclaim = flush; }

void smart_free(ListItem* protectedNode) {
  if (mpBeforeReclaim) mpBeforeReclaim();
  int32_t target = Mul32(mReclaimSize, 1024);
  int32_t freed = 0;
  while (target > 0) {
    ListInfo* info = LongestList();
    if (!info || info->entries <= mKeepEntries) break;
    if (CutList(info, protectedNode, target, &freed) != CutEnd::kFloorReached) break;
    if (freed >= target) break;
  }
  gSM_TotalBytesFreed = Add32(gSM_TotalBytesFreed, freed);
}

char* smart_strdup(const char* text) {
  if (!text) return nullptr;
  size_t size = strlen(text) + 1;
  char* copy = static_cast<char*>(RawAlloc(size, false));
  if (!copy && mSmartMemoryEnabled) {
    RaisePeak();
    smart_free(nullptr);
    copy = static_cast<char*>(RawAlloc(size, false));
  }
  if (copy) memcpy(copy, text, size);
  return copy;
}

void smart_memory_reset_for_testing() {
  mSmartMemoryEnabled = 0;
  mKeepEntries = 0;
  mReclaimSize = 0;
  mMaxBytesToAllocate = 0;
  mRefusalsForTesting = 0;
  mpBeforeReclaim = nullptr;
}

void smart_memory_refuse_allocations_for_testing(int count) { mRefusalsForTesting = count; }

// Counts the same Zipf-like texts as list_bench into one list with a
// smart-memory ceiling, and shows that the accounted bytes stay near the
// ceiling while the real peak memory stays bounded.
//
// Usage: smart_memory_bench [items] [distinct] [ceiling K] [reclaim K] [floor]
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "analysis/list.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "bench_texts.h"
#include "settings/stats_fields.h"

namespace {

long PeakKb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  long items = argc > 1 ? atol(argv[1]) : 10000000;
  long distinct = argc > 2 ? atol(argv[2]) : 1000000;
  StatsFields settings;
  settings.smartMemoryMaxMemory = argc > 3 ? atoi(argv[3]) : 16384;
  settings.smartMemoryReclaimSize = argc > 4 ? atoi(argv[4]) : 1000;
  settings.smartMemoryKeepEntries = argc > 5 ? atoi(argv[5]) : 100;
  smart_memory_init(&settings);

  ItemList* list = nullptr;
  ListInfo* info = nullptr;
  init_list(&list, &info, "Top URLs");
  bench_texts::Source source(distinct);
  char text[256];
  int32_t highestCurrent = 0;
  auto start = std::chrono::steady_clock::now();
  for (long i = 0; i < items; ++i) {
    source.Next(text, sizeof text);
    add_item(&list, info, text, nullptr, nullptr, 1);
    if (gSM_CurrentBytesAllocated > highestCurrent) highestCurrent = gSM_CurrentBytesAllocated;
  }
  double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ListItem* head = SortList(list);

  printf("ceiling:            %d K = %d bytes (floor %d, reclaim %d K)\n",
         settings.smartMemoryMaxMemory, settings.smartMemoryMaxMemory * 1024,
         settings.smartMemoryKeepEntries, settings.smartMemoryReclaimSize);
  printf("items counted:      %ld in %.2f s, %.2f M items/s\n", items, seconds,
         items / seconds / 1e6);
  printf("list:               %d entries left, %d reclaimed, top \"%s\" %d\n", list_length(list),
         info->reclaimed, head ? head->item : "", head ? head->count : 0);
  printf("accounted bytes:    current %d, highest %d, peak at reclamations %d\n",
         gSM_CurrentBytesAllocated, highestCurrent, gSM_MaximumBytesAllocated);
  printf("                    total allocated %d, total freed %d\n", gSM_TotalBytesAllocated,
         gSM_TotalBytesFreed);
  printf("peak memory:        %.1f MB (ru_maxrss)\n", PeakKb() / 1024.0);
  destroy(list);
  destroyListInfo();
  return 0;
}

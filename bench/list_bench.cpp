// Counts ten million URL-like texts, drawn with a Zipf-like (1/k) law from
// one million distinct ones, into one item list, then sorts it.  Prints
// items per second (with the cost of making the texts taken out, and
// without), the sort time and the peak memory of the process.
//
// Usage: list_bench [items] [distinct]
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "analysis/list.h"
#include "base/globals.h"
#include "bench_texts.h"

namespace {

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

long PeakKb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  long items = argc > 1 ? atol(argv[1]) : 10000000;
  long distinct = argc > 2 ? atol(argv[2]) : 1000000;
  char text[256];

  // The same draws without counting: the cost of making the texts.
  bench_texts::Source baseline(distinct);
  size_t checksum = 0;
  auto start = std::chrono::steady_clock::now();
  for (long i = 0; i < items; ++i) checksum += baseline.Next(text, sizeof text);
  double makeSeconds = Seconds(start);

  ItemList* list = nullptr;
  ListInfo* info = nullptr;
  init_list(&list, &info, "Top URLs");
  bench_texts::Source source(distinct);
  start = std::chrono::steady_clock::now();
  for (long i = 0; i < items; ++i) {
    source.Next(text, sizeof text);
    add_item(&list, info, text, nullptr, nullptr, 1);
  }
  double countSeconds = Seconds(start);

  start = std::chrono::steady_clock::now();
  ListItem* head = SortList(list);
  double sortSeconds = Seconds(start);

  printf("items counted:      %ld (%d distinct, total %d, top \"%s\" %d)\n", items,
         list_length(list), TotalList(list), head ? head->item : "", head ? head->count : 0);
  printf("counting:           %.2f s, %.2f M items/s (%.2f M items/s with text making, %.2f s)\n",
         countSeconds - makeSeconds, items / (countSeconds - makeSeconds) / 1e6,
         items / countSeconds / 1e6, makeSeconds);
  printf("sort:               %.2f s\n", sortSeconds);
  printf("peak memory:        %.1f MB (ru_maxrss)\n", PeakKb() / 1024.0);
  destroy(list);
  destroyListInfo();
  return checksum == 0;  // keeps the baseline loop from being optimised away
}

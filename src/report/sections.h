// The report sections: summaries, ranked rows, bar charts, memory rows.
#pragma once

#include <cstdint>

struct StatsFields;
struct ItemList;

void ReportSummary(int count, int top, int topIsPercent, int greater, const char* colour,
                   const char* noun);
void display_list(const StatsFields* settings, ItemList* list, int top, int topIsPercent,
                  int greater, const char* noun, int total);

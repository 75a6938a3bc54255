// The report sections: summaries, ranked rows, the search section, bar
// charts and the memory rows of the debugging table.
#pragma once

#include <cstdint>

#include "analysis/pass_results.h"

struct StatsFields;
struct ItemList;

// Writes every section that the settings switch on, in the report's fixed
// order, each followed by a jump bar.  Sorts the lists it prints.
void PrintReportSections(const StatsFields* settings, PassResults* results);

// The jump-bar link of the index-th section in page order: "" when that
// section is off, null past the last section.
const char* SectionJumpLink(const StatsFields* settings, int index);

// The summary row of a list section; nothing when count is 0.  note, when
// given, ends the summary.
void ReportSummary(int count, int top, int topIsPercent, int greater, const char* colour,
                   const char* noun, const char* note = nullptr);

// Sorts list by count and writes its rows, cut by top (a count, or a
// percentage of the entries when topIsPercent) and greater (least count).
// noun picks the row style: "requests", "referrals", "network", anything
// else plain.  total is the 100% base of the share column.
void display_list(const StatsFields* settings, ItemList* list, int top, int topIsPercent,
                  int greater, const char* noun, int total);

// The smart-memory rows that close the debugging table, and its closing tag.
void PrintMemoryRows(const StatsFields* settings);

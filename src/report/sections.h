// The report sections: summaries, ranked rows, the search section, bar
// charts and the memory rows of the debugging table.
#pragma once

#include <cstdint>

#include "analysis/search_phrases.h"
#include "base/time32.h"

struct StatsFields;
struct ItemList;

// What the analysis pass counted and the sections print.  The pass owns it
// (and the lists it points to) for one run; printing sorts the lists and may
// rewrite Domain Types texts, nothing else.
struct PassResults {
  ItemList* topUrls = nullptr;
  ItemList* topReferrers = nullptr;
  ItemList* browsers = nullptr;
  ItemList* badUrls = nullptr;
  ItemList* badReferrers = nullptr;
  ItemList* domains = nullptr;
  ItemList* domainTypes = nullptr;
  ItemList* search[kSearchEngineCount] = {};  // in list order

  int32_t urlHits = 0;
  int32_t referralHits = 0;
  int32_t browserHits = 0;
  int32_t domainHits = 0;
  int32_t domainTypeHits = 0;
  int32_t searchHits = 0;
  int32_t dailyHits = 0;
  int32_t weekdayHits = 0;
  int32_t hourHits = 0;
  int32_t dailyCounts[366] = {};   // by day of the year
  int32_t weekdayCounts[7] = {};   // by day of the week, 0 = Sunday
  int32_t hourCounts[24] = {};

  ll::time32_t rangeFirst = 0;  // 00:00:00 of the first report day
  ll::time32_t rangeLast = 0;   // 23:59:59 of the last report day
};

// Writes every section that the settings switch on, in the report's fixed
// order, each followed by a jump bar.  Sorts the lists it prints.
void PrintReportSections(const StatsFields* settings, PassResults* results);

// The summary row of a list section; nothing when count is 0.
void ReportSummary(int count, int top, int topIsPercent, int greater, const char* colour,
                   const char* noun);

// Sorts list by count and writes its rows, cut by top (a count, or a
// percentage of the entries when topIsPercent) and greater (least count).
// noun picks the row style: "requests", "referrals", "network", anything
// else plain.  total is the 100% base of the share column.
void display_list(const StatsFields* settings, ItemList* list, int top, int topIsPercent,
                  int greater, const char* noun, int total);

// The smart-memory rows that close the debugging table, and its closing tag.
void PrintMemoryRows(const StatsFields* settings);

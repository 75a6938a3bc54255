// What the analysis pass counts: the report's totals, lists and tables.
#pragma once

#include <cstdint>

#include "analysis/search_phrases.h"
#include "base/time32.h"
#include "superlog/superlog.h"

struct ItemList;

// The pass owns it (and the lists it points to) for one run; the report
// reads it after the pass, and printing sorts the lists and may rewrite
// Domain Types texts, nothing else.
struct PassResults {
  ItemList* topUrls = nullptr;
  ItemList* topReferrers = nullptr;
  ItemList* browsers = nullptr;
  ItemList* badUrls = nullptr;
  ItemList* badReferrers = nullptr;
  ItemList* domains = nullptr;
  ItemList* domainTypes = nullptr;
  ItemList* search[kSearchEngineCount] = {};  // in list order

  int32_t totalHits = 0;  // the header's requests
  SuperLong totalBytes;   // the header's bytes served

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

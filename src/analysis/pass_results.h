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

  // Sections that a request names by keyword; their lists stay null and
  // their figures 0 while they are off.  With robots on, the visitor and
  // page figures count people only.
  ItemList* pages = nullptr;
  ItemList* entryPages = nullptr;
  ItemList* exitPages = nullptr;
  ItemList* statusCodes = nullptr;
  ItemList* browserFamilies = nullptr;
  ItemList* operatingSystems = nullptr;
  ItemList* robots = nullptr;
  int32_t pageViews = 0;    // the base of the pages' share column
  int32_t visitEnds = 0;    // visits with a page: entry and exit pages each
  int32_t statusHits = 0;
  int32_t agentHits = 0;    // browser families and operating systems
  int32_t robotHits = 0;

  // Visitors and visits: one visitor is one client host with one browser
  // text; a visit is its run of hits with no gap over 30 minutes, counted on
  // the day it starts.  By day of the year, and over the whole range.
  struct VisitFigures {  // zeroed by the {} of its uses
    int32_t visitors;
    int32_t visits;
    int32_t pages;
    int32_t hits;
    double bytes;
  };
  VisitFigures visitDays[366] = {};
  VisitFigures visitTotals = {};  // visitors: distinct over the range
  double visitSeconds = 0;      // summed length of the visits

  ll::time32_t rangeFirst = 0;  // 00:00:00 of the first report day
  ll::time32_t rangeLast = 0;   // 23:59:59 of the last report day
};

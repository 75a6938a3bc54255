// Settings validation and the report date range.
#pragma once

#include <cstddef>
#include <cstdint>

struct StatsFields;
struct CgiEnv;

// Completes the settings (dates, title, find, realm, user, debug) and
// checks them.  Returns only when they can make a report; otherwise ends
// the run with error page 4, 5, 6, 8 or 7 (tested in that order).
void CheckParams(const CgiEnv* env, StatsFields* settings);

// A year text to a four-digit year: 0..138 count from 1900, 1900..2038
// stand as given; an empty, negative or other value gives `current`.
int StrToYear4(const char* text, int current);

// The two date texts ("MMDD" + year) as six numbers (atoi rules).
void ParseDate(int* startMonth, int* startDay, int* startYear, int* endMonth, int* endDay,
               int* endYear, const StatsFields* settings);

// Writes the sortable date text (year, two-digit month, two-digit day) into
// out (outSize bytes), cut at the buffer's end for oversized years.
void MakeMaxName(char* out, size_t outSize, int month, int day, int year);

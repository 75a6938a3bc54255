// Settings validation and the report date range.
#pragma once

#include <cstdint>

struct StatsFields;
struct CgiEnv;

// Completes and validates the settings; ends with error 4 to 8 when they
// cannot make a report.
void CheckParams(const CgiEnv* env, StatsFields* settings);
int StrToYear4(const char* text, int current);
void ParseDate(int* startMonth, int* startDay, int* startYear, int* endMonth, int* endDay,
               int* endYear, const StatsFields* settings);
// Writes the sortable date text (year, two-digit month, two-digit day) into out (outSize bytes).
void MakeMaxName(char* out, size_t outSize, int month, int day, int year);

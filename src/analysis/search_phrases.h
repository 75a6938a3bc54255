// Search-engine phrase extraction and the per-engine phrase tables.
#pragma once

#include <cstdint>

struct StatsFields;
struct ItemList;
struct ListInfo;

constexpr int kSearchEngineCount = 31;

// Titles of the 31 engine lists, in list order ("AltaVista Search Phrases" ...).
extern const char* const kSearchListTitles[kSearchEngineCount];

// Display order: for display index d, the list index it shows, its display
// name and its link host.
struct SearchDisplay {
  int list;
  const char* name;  // Search_Name
  const char* href;  // Search_Href
};
extern const SearchDisplay kSearchDisplay[kSearchEngineCount];

// Finds the engine of a referrer (which contains '?') and its phrase.
// work is a 244-byte buffer owned by the caller; it receives a copy of the
// referrer (cut at 243 characters) and, on success, the decoded phrase at
// its start.  Returns the engine's list index (0-30) when one of the
// engine's parameters was found (the phrase may be empty), else -1.
// Allocates nothing.
int ExtractSearchPhrase(const char* referrer, char* work);

// 1 and text overwritten with the decoded value of parameter `name` (compared
// ignoring case) of the query after the first '?'; 0 and text unchanged
// otherwise.  Values and names are cut at 243 characters.
int parseQuery(char* text, const char* name);

// Prints one engine's block of the search section to stdout: nothing when
// the list is empty, else the engine's title row and its phrases in count
// order, limited by search_top (a plain count) and search_greater.  Sorts
// the list (it takes no more items afterwards).
void display_keywords(const StatsFields* settings, ItemList* list, int length, int displayIndex,
                      int searchHits);

// Smart memory: a soft ceiling on the memory of the item lists.
//
// Every list node is allocated through smart_alloc, which accounts it (as
// 256 bytes) in the statistics of base/globals.h and in its list's
// `entries`.  When the ceiling is reached, or the system refuses memory, one
// reclamation runs first: from the list with the most entries it frees the
// entries with the lowest counts, until the reclaim size is freed or the
// list is down to the floor, then goes on with the next longest list.
#pragma once

#include <cstddef>
#include <cstdint>

struct StatsFields;
struct ListInfo;
struct ListItem;

// Copies the four smart-memory settings into the module state: on/off, the
// floor in entries, the reclaim size in K, and the ceiling (the setting in
// K times 1024 when it is 500 or more, else no ceiling).
void smart_memory_init(const StatsFields* settings);

// Accounts one node of `size` bytes (always 256 for list nodes) for the
// list `info`; parent is the node that owns a secondary item, or null.
// Returns node memory of `realSize` bytes from the lists' pool
// (ListNodeMemory; the list module frees it with the node), or null.  When the ceiling is reached
// or memory is refused, one reclamation runs first, which may free any
// top-level node of any list except `parent`.
void* smart_alloc(size_t size, ListInfo* info, ListItem* parent, size_t realSize);

// One reclamation; never frees `protectedNode`.  Always ends, also with a
// floor of 0 or less.
void smart_free(ListItem* protectedNode);

// A function that smart_free calls before it frees anything, so that counts
// a module holds back reach their list nodes first (reclamation chooses by
// count); null for none.
void smart_memory_before_reclaim(void (*flush)());

// A malloc'ed copy of text (the caller frees it), or null; reclaims once
// when the copy fails.  Not accounted.
char* smart_strdup(const char* text);

// Returns the module state to its process-start values (smart memory off).
// For tests.
void smart_memory_reset_for_testing();

// Makes the next `count` memory requests of smart_alloc and smart_strdup
// fail, as if the system refused them.  For tests.
void smart_memory_refuse_allocations_for_testing(int count);

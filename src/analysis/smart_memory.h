// Smart memory: a soft ceiling on the memory of the item lists.
#pragma once

#include <cstddef>
#include <cstdint>

struct StatsFields;
struct ListInfo;
struct ListItem;

// Copies the four smart-memory settings into the module state.
void smart_memory_init(const StatsFields* settings);

// Accounts one node of `size` bytes (always 256 for list nodes) for the
// list `info`; parent is the node that owns a secondary item, or null.
// Returns memory of at least `realSize` bytes, or null.  When the ceiling
// is reached or memory is refused, one reclamation runs first.
void* smart_alloc(size_t size, ListInfo* info, ListItem* parent, size_t realSize);

// One reclamation; never frees `protectedNode`.
void smart_free(ListItem* protectedNode);

// A malloc'ed copy of text, or null; reclaims once when the copy fails.
char* smart_strdup(const char* text);

// Returns the module state to its process-start values.  For tests.
void smart_memory_reset_for_testing();

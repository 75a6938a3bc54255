// A slow, direct model of the item lists and smart memory, for comparison
// with the indexed implementation: each list is a singly linked list kept in
// ascending text order and walked for every occurrence, the count order is
// made by repeated selection with MoveItem, and a reclamation walks the
// chosen list in text order with a count threshold that rises by one per
// walk.  Its state is entirely its own (catalogue, settings, statistics).
#pragma once

#include <cstdint>

namespace naive_list {

struct Node {
  char item[244];
  int32_t count;
  Node* next;
  Node* sublist;
};

struct Info {
  Node** list;
  const char* name;
  int32_t entries;
  int32_t reclaimed;
  Info* next;
};

struct State {
  Info* first = nullptr;
  Info* last = nullptr;
  int enabled = 0;
  int keepEntries = 0;
  int reclaimSize = 0;
  int maxBytes = 0;  // ceiling in bytes, 0 = none
  int refusals = 0;  // memory requests still to refuse
  int32_t totalAllocated = 0;
  int32_t currentAllocated = 0;
  int32_t maximumAllocated = 0;
  int32_t totalFreed = 0;
};

extern State gState;

// Frees the catalogue records (not the lists) and clears the state.
void Reset();
// The same settings as smart_memory_init: maxK is the ceiling setting in K.
void Configure(int enabled, int keepEntries, int reclaimSizeK, int maxK);
void RefuseAllocations(int count);

void InitList(Node** list, Info** info, const char* name);
// Returns false when no node could be had (the real program exits then).
bool AddItem(Node** list, Info* info, const char* item, const char* secondary, Node* parent,
             int ignoreCase);
Node* SortList(Node* head);
Node* MoveItem(Node* head, const char* item, const char* behind);
void Reclaim(Node* protectedNode);
int Length(const Node* head);
void Destroy(Node* head);

}  // namespace naive_list

#include "naive_list.h"

#include <strings.h>

#include <cstring>

#include "base/fixed_text.h"

namespace naive_list {

State gState;

namespace {

constexpr int32_t kNodeBytes = 256;

int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

int Compare(const char* a, const char* b, int ignoreCase) {
  return ignoreCase ? strcasecmp(a, b) : strcmp(a, b);
}

Node* RawNew() {
  if (gState.refusals > 0) {
    --gState.refusals;
    return nullptr;
  }
  return new Node{};
}

void RaisePeak() {
  if (gState.currentAllocated > gState.maximumAllocated)
    gState.maximumAllocated = gState.currentAllocated;
}

Node* Alloc(Info* info, Node* parent) {
  if (!gState.enabled) return RawNew();
  Node* node = nullptr;
  if (gState.maxBytes == 0 || gState.currentAllocated < gState.maxBytes) node = RawNew();
  if (!node) {
    RaisePeak();
    Reclaim(parent);
    node = RawNew();
    if (!node) return nullptr;
  }
  if (!parent) info->entries++;
  gState.totalAllocated = Wrap(int64_t{gState.totalAllocated} + kNodeBytes);
  gState.currentAllocated = Wrap(int64_t{gState.currentAllocated} + kNodeBytes);
  return node;
}

Info* Longest() {
  Info* chosen = gState.first;
  for (Info* info = gState.first; info; info = info->next)
    if (info->entries > chosen->entries) chosen = info;
  return chosen;
}

bool FreeableLeft(const Info* info, const Node* protectedNode) {
  for (const Node* node = *info->list; node; node = node->next)
    if (node != protectedNode) return true;
  return false;
}

void Account(int32_t* freed, int nodes) {
  *freed = Wrap(int64_t{*freed} + int64_t{kNodeBytes} * nodes);
  gState.currentAllocated = Wrap(int64_t{gState.currentAllocated} - int64_t{kNodeBytes} * nodes);
}

// One pass over the chosen list at `threshold`.  Returns true when the
// freed bytes reached the target before a node (the reclamation ends).
bool Pass(Info* info, Node* protectedNode, int threshold, int32_t target, int32_t* freed) {
  Node** link = info->list;
  while (*link) {
    if (*freed >= target) return true;
    Node* node = *link;
    if (node->count > threshold || node == protectedNode) {
      link = &node->next;
    } else {
      Account(freed, Length(node->sublist));
      Destroy(node->sublist);
      *link = node->next;
      delete node;
      Account(freed, 1);
      info->entries--;
      info->reclaimed++;
    }
    if (info->entries <= gState.keepEntries) return false;
  }
  return false;
}

}  // namespace

void Reset() {
  for (Info* info = gState.first; info;) {
    Info* next = info->next;
    delete info;
    info = next;
  }
  gState = State{};
}

void Configure(int enabled, int keepEntries, int reclaimSizeK, int maxK) {
  gState.enabled = enabled;
  gState.keepEntries = keepEntries;
  gState.reclaimSize = reclaimSizeK;
  gState.maxBytes = maxK >= 500 ? Wrap(int64_t{maxK} * 1024) : 0;
}

void RefuseAllocations(int count) { gState.refusals = count; }

void InitList(Node** list, Info** info, const char* name) {
  *list = nullptr;
  Info* record = new Info{list, name, 0, 0, nullptr};
  if (gState.last)
    gState.last->next = record;
  else
    gState.first = record;
  gState.last = record;
  *info = record;
}

bool AddItem(Node** list, Info* info, const char* item, const char* secondary, Node* parent,
             int ignoreCase) {
  if (!item || !*item) return true;
  if (secondary && !*secondary) secondary = nullptr;
  char text[244];
  ll::CopyText(text, item);
  for (Node* node = *list; node; node = node->next) {
    int order = Compare(node->item, text, ignoreCase);
    if (order < 0) continue;
    if (order > 0) break;
    node->count++;
    return !secondary || AddItem(&node->sublist, info, secondary, nullptr, node, ignoreCase);
  }
  Node* node = Alloc(info, parent);
  if (!node) return false;
  ll::CopyText(node->item, text);
  node->count = 1;
  node->sublist = nullptr;
  // The allocation may have reclaimed nodes of this very list: find the
  // place again.
  Node** link = list;
  while (*link && Compare((*link)->item, text, ignoreCase) < 0) link = &(*link)->next;
  node->next = *link;
  *link = node;
  return !secondary || AddItem(&node->sublist, info, secondary, nullptr, node, ignoreCase);
}

Node* SortList(Node* head) {
  char cursor[244] = "";
  bool firstPass = true;
  int32_t ceiling = 0;
  for (;;) {
    Node* start = head;
    if (!firstPass) {
      while (strcmp(start->item, cursor) != 0) start = start->next;
      start = start->next;
    }
    Node* best = nullptr;
    for (Node* node = start; node; node = node->next) {
      if (!firstPass && node->count > ceiling) continue;
      if (!best || node->count >= best->count) best = node;
    }
    if (!best) return head;
    head = MoveItem(head, best->item, cursor);
    ll::CopyText(cursor, best->item);
    ceiling = best->count;
    firstPass = false;
  }
}

Node* MoveItem(Node* head, const char* item, const char* behind) {
  if (strcmp(head->item, item) == 0) return head;
  Node* before = head;
  while (strcmp(before->next->item, item) != 0) before = before->next;
  Node* moving = before->next;
  before->next = moving->next;
  if (!*behind) {
    moving->next = head;
    return moving;
  }
  Node* target = head;
  while (strcmp(target->item, behind) != 0) target = target->next;
  moving->next = target->next;
  target->next = moving;
  return head;
}

void Reclaim(Node* protectedNode) {
  int32_t target = Wrap(int64_t{gState.reclaimSize} * 1024);
  int32_t freed = 0;
  while (target > 0) {
    Info* info = Longest();
    if (!info || info->entries <= gState.keepEntries) break;
    bool end = false;
    for (int threshold = 1;; ++threshold) {
      if (Pass(info, protectedNode, threshold, target, &freed)) {
        end = true;
        break;
      }
      if (info->entries <= gState.keepEntries) break;
      // Above the floor with nothing but the protected node left: further
      // passes would free nothing, so the reclamation ends here.
      if (!FreeableLeft(info, protectedNode)) {
        end = true;
        break;
      }
    }
    if (end || freed >= target) break;
  }
  gState.totalFreed = Wrap(int64_t{gState.totalFreed} + freed);
}

int Length(const Node* head) {
  int n = 0;
  for (; head; head = head->next) ++n;
  return n;
}

void Destroy(Node* head) {
  while (head) {
    Node* next = head->next;
    Destroy(head->sublist);
    delete head;
    head = next;
  }
}

}  // namespace naive_list

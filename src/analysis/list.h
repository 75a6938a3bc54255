// Item tables: counted lists of texts.
//
// A list counts occurrences of texts.  Its observable order while counting
// is ascending text order under the list's comparison (strcmp, or strcasecmp
// for a list counted ignoring case); SortList turns it into descending count
// order, ties in descending text order.  Counting costs O(1) amortised (a hash
// index); the text order is produced only when someone needs it (sorting,
// reclamation by smart memory).
#pragma once

#include <cstddef>
#include <cstdint>

struct ItemList;  // one list: its nodes and their index (list.cpp)
struct ListInfo;

// One counted text.  Every node is accounted as 256 bytes by smart memory,
// whatever its real size: the text is stored, at its own length, in the same
// allocation as the node.  `item` therefore holds exactly strlen(item) + 1
// bytes: code that rewrites a text (a domain-type code replaced by its name)
// must copy it into a 244-byte buffer first.
struct ListItem {
  ListItem* next;      // next node in count order (valid after SortList)
  ItemList* sublist;   // secondary items (Bad URLs: referring pages), or null
  int32_t count;       // occurrences; 1 at creation
  uint32_t hashCode;   // the index's hash of the text (list.cpp only)
  char* item;          // the text as first seen (at most 243 characters)
};

// The catalogue record of a top-level list.
struct ListInfo {
  ItemList** list;     // the variable that holds the list
  const char* name;    // display name
  int32_t entries;     // top-level nodes allocated while smart memory is on, less reclaimed
  int32_t reclaimed;   // top-level nodes freed by reclamation
  ListInfo* next;
};

// A list variable is an ItemList*; null is the empty list.
void init_list(ItemList** list, ListInfo** info, const char* name);

// Counts one occurrence of item (and of secondary under it, when given and
// non-empty).  parent is null for a top-level item.  Ends the process with
// status 1 when no node can be had even after reclaiming.
void add_item(ItemList** list, ListInfo* info, const char* item, const char* secondary,
              ListItem* parent, int ignoreCase);

// A text about to be counted, with its index hash worked out once, so that
// the memory that counting it touches can be requested early and the wait
// overlap other work of the caller.  The key borrows text, which must stay
// unchanged until the key is counted.
struct ItemKey {
  const char* text;
  uint32_t length;  // bytes of text counted (at most 243); text[length] need not be 0
  uint32_t hash;
  int ignoreCase;   // as asked by the caller: for a new list and for secondary items
  int hashFolded;   // the comparison the hash was made for
};

// The key of the first `length` bytes of item (none of them a NUL), cut at
// 243, for list; a list that exists keeps its own comparison, else
// ignoreCase is the one its first item will give it.
ItemKey MakeItemKey(const ItemList* list, const char* item, size_t length, int ignoreCase);

// Requests the index slot where counting key starts; changes nothing.
void PrefetchItemSlot(const ItemList* list, const ItemKey& key);
// Requests the node that the key's slot points to when its hash matches;
// changes nothing.  Reads the slot, so it pays off only when the slot was
// requested a while before.
void PrefetchItemNode(const ItemList* list, const ItemKey& key);

// Memory for one node of `bytes` bytes (a whole number of 8-byte words, at
// most 280) from the pool that the lists' nodes share, or null when the
// system refuses it.  The list module frees it with the node.  For smart
// memory, which accounts every node.
void* ListNodeMemory(size_t bytes);

// add_item for a key made for this list.  Returns the node that counted
// it, or null for an empty key.
ListItem* add_item_key(ItemList** list, ListInfo* info, const ItemKey& key, const char* secondary,
                  ListItem* parent);

// Counts n more occurrences of node, a node of list that add_item_key
// returned and smart memory has not freed since (ListInfo::reclaimed
// unchanged): what n calls of add_item_key for its text would do.
void CountNodeAgain(ItemList* list, ListItem* node, int32_t n);

// Reorders the list by count and returns its first node (null when empty);
// the chain continues through ListItem::next.  The list takes no more items.
ListItem* SortList(ItemList* list);

// Moves the node with text `item` just behind the node with text `behind`
// ("" = to the front) in the count-order chain that starts at head; returns
// the new head.
ListItem* MoveItem(ListItem* head, const char* item, const char* behind);

int list_length(const ItemList* list);
int32_t TotalList(const ItemList* list);

// Frees every node (sublists first); null does nothing.  Outside the
// smart-memory accounting.
void destroy(ItemList* list);
// Frees every ListInfo of the catalogue gListInfo and empties it.
void destroyListInfo();

// Bob Jenkins' lookup2 hash.
uint32_t hash(const void* key, uint32_t length, uint32_t initval);

// --- For smart memory's reclamation (and for tests that inspect a list) ---

// Fills out[0..] with nodes of list, leaving out protectedNode: the first
// ones in reclamation order (ascending count, a count below 1 taken as 1;
// equal counts in ascending text order under the list's comparison), in
// that order.  Returns how many were written: all nodes when they are at
// most `max`, else at most `max` and, of the count where `max` is reached,
// at most 4096 (remove them and ask again for more).  The pointers stay
// valid until the nodes are removed.  Allocates nothing.
int ListLowestItems(ItemList* list, const ListItem* protectedNode, ListItem** out, int max);

// The next node of list in reclamation order (as ListLowestItems orders
// them), leaving out protectedNode, or null when no other node is left.
// Remove it with ListRemoveItem before asking again.  Keeps what it learns
// between calls, so that taking n nodes costs about n log n, whatever the
// list's size.  Sets *ok to false (and returns null) when it cannot have the
// memory it needs; ListLowestItems then still works.
ListItem* ListNextVictim(ItemList* list, const ListItem* protectedNode, bool* ok);

// Unlinks node from list and frees it and its secondary nodes.  Returns the
// number of nodes freed (1 + the secondary nodes).  Touches no statistics.
int ListRemoveItem(ItemList* list, ListItem* node);

// Makes SortList do without its sort array (as when memory is refused), so
// that tests reach the slower path.  For tests.
void ListRefuseSortMemoryForTesting(bool refuse);
// The least number of nodes that ListNextVictim sorts ahead (4096 in the
// program), so that tests reach its rebuilds with small lists.
void ListSetMinimumVictimQueueForTesting(uint32_t entries);

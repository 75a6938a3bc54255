// Counts held back for list nodes remembered by a small number (a status
// code, a browser text, a page), so that a hit of a known number need not
// find its node by the text: the hit is held as one more beside the node,
// and the held counts reach their nodes together (Flush), before smart
// memory reclaims and when the pass ends, so that the lists hold the same
// counts whenever anything reads them.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "analysis/list.h"

// A list node remembered for one number, and the hits held back for it.
struct NodeMemo {
  ListItem* node = nullptr;
  uint32_t epoch = 0;  // HeldCounts' epoch when remembered
  uint32_t held = 0;
};

class HeldCounts {
 public:
  // The memo of number id for a list (memos may move as their tables grow,
  // so a flush finds them again by their numbers), and the list.
  using MemoOf = NodeMemo& (*)(uint8_t list, uint32_t id);
  using ListOf = ItemList** (*)(uint8_t list);
  HeldCounts(MemoOf memoOf, ListOf listOf) : memoOf_(memoOf), listOf_(listOf) {}

  // Holds one more hit for memo's node, when the node is still there (no
  // flush since it was remembered); false when it must be looked up.
  [[gnu::always_inline]] bool Hold(uint8_t list, uint32_t id, NodeMemo& memo) {
    if (memo.epoch != epoch_ || !memo.node) return false;
    if (memo.held++ == 0) Note(list, id);
    return true;
  }
  // Remembers node, just counted in its list, in memo.  A reclamation while
  // the node was made comes before this, so the node is valid.
  void Remember(NodeMemo& memo, ListItem* node) {
    memo.node = node;
    memo.epoch = epoch_;
  }
  // Puts the held counts into their nodes; the memos remembered before are
  // void after it (a reclamation, which may free any node, follows).
  void Flush() {
    for (const auto& [list, id] : held_) {
      NodeMemo& memo = memoOf_(list, id);
      CountNodeAgain(*listOf_(list), memo.node, static_cast<int32_t>(memo.held));
      memo.held = 0;
    }
    held_.clear();
    ++epoch_;
  }
  // Forgets what is held, for a pass whose lists are gone.
  void Clear() { held_ = {}; }
  size_t Bytes() const { return held_.capacity() * sizeof held_[0]; }

 private:
  // The first hit held for a memo since the last flush: rare, kept out of
  // the callers' code.
  [[gnu::noinline]] void Note(uint8_t list, uint32_t id) { held_.emplace_back(list, id); }

  MemoOf memoOf_;
  ListOf listOf_;
  uint32_t epoch_ = 1;
  std::vector<std::pair<uint8_t, uint32_t>> held_;  // the memos whose held count is not 0
};

// Random operation sequences run against the indexed lists and against the
// direct model in naive_list: both must agree on every count, order,
// spelling, secondary list, per-list counter and memory statistic.
//
// LOGLANTERN_PROPERTY_SEEDS=<n> runs n sequences instead of the default.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "analysis/list.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "naive_list.h"
#include "settings/stats_fields.h"

namespace {

constexpr int kLists = 4;

struct Entry {
  std::string text;
  int count;
  std::vector<Entry> secondary;
  bool operator==(const Entry&) const = default;
};

void PrintTo(const Entry& e, std::ostream* os) {
  *os << "{" << testing::PrintToString(e.text) << ", " << e.count;
  if (!e.secondary.empty()) *os << ", " << testing::PrintToString(e.secondary);
  *os << "}";
}

// A real list in reclamation order (count, then text), with sublists.
std::vector<Entry> RealEntries(ItemList* list) {
  std::vector<ListItem*> nodes(list_length(list));
  nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
  std::vector<Entry> out;
  for (ListItem* node : nodes)
    out.push_back({node->item, node->count, RealEntries(node->sublist)});
  return out;
}

// A model list (kept in text order) in the same order: a stable sort by
// count keeps text order among equal counts.
std::vector<Entry> NaiveEntries(const naive_list::Node* head) {
  std::vector<Entry> out;
  for (; head; head = head->next)
    out.push_back({head->item, head->count, NaiveEntries(head->sublist)});
  std::stable_sort(out.begin(), out.end(), [](const Entry& a, const Entry& b) {
    return std::max(a.count, 1) < std::max(b.count, 1);
  });
  return out;
}

int32_t NaiveTotal(const naive_list::Node* head) {
  int32_t total = 0;
  for (; head; head = head->next) total += head->count;
  return total;
}

struct Settings {
  int enabled, keep, reclaimK, maxK;
};

class ListModels {
 public:
  explicit ListModels(uint32_t seed) : rng_(seed) {
    ResetGlobalsForTesting();
    smart_memory_reset_for_testing();
    naive_list::Reset();
    static const char* const kNames[kLists] = {"Exact", "Folded", "Folded+", "Exact+"};
    for (int i = 0; i < kLists; ++i) {
      init_list(&real_[i], &realInfo_[i], kNames[i]);
      naive_list::InitList(&naive_[i], &naiveInfo_[i], kNames[i]);
    }
  }
  ~ListModels() {
    for (int i = 0; i < kLists; ++i) {
      destroy(real_[i]);
      naive_list::Destroy(naive_[i]);
    }
    destroyListInfo();
    naive_list::Reset();
    smart_memory_reset_for_testing();
    ResetGlobalsForTesting();
  }

  void Configure(const Settings& s) {
    StatsFields fields;
    fields.smartMemoryEnabled = s.enabled;
    fields.smartMemoryKeepEntries = s.keep;
    fields.smartMemoryReclaimSize = s.reclaimK;
    fields.smartMemoryMaxMemory = s.maxK;
    smart_memory_init(&fields);
    naive_list::Configure(s.enabled, s.keep, s.reclaimK, s.maxK);
    enabled_ = s.enabled;
  }

  // One random add_item on both sides.
  void Step() {
    int i = static_cast<int>(rng_() % kLists);
    std::string text = RandomText();
    std::string secondary;
    const char* second = nullptr;
    if (i >= 2) {  // lists with secondary items
      switch (rng_() % 4) {
        case 0: break;
        case 1: second = ""; break;
        default: secondary = RandomText(); second = secondary.c_str();
      }
    }
    // Memory refused once below the ceiling: a reclamation runs and the
    // second request succeeds.  (At the ceiling the refusal would hit the
    // second request and end the run.)
    const naive_list::State& n = naive_list::gState;
    bool belowCeiling = n.maxBytes == 0 || n.currentAllocated < n.maxBytes;
    if (enabled_ && belowCeiling && rng_() % 50 == 0) {
      smart_memory_refuse_allocations_for_testing(1);
      naive_list::RefuseAllocations(1);
    }
    int ignoreCase = (i == 1 || i == 2) ? 1 : 0;
    add_item(&real_[i], realInfo_[i], text.c_str(), second, nullptr, ignoreCase);
    ASSERT_TRUE(naive_list::AddItem(&naive_[i], naiveInfo_[i], text.c_str(), second, nullptr,
                                    ignoreCase));
    // A refusal not used by this add (no new node) must not leak into the next.
    smart_memory_refuse_allocations_for_testing(0);
    naive_list::RefuseAllocations(0);
  }

  void ExpectSameCounters(int step) {
    for (int i = 0; i < kLists; ++i) {
      ASSERT_EQ(list_length(real_[i]), naive_list::Length(naive_[i])) << "list " << i << " step " << step;
      ASSERT_EQ(TotalList(real_[i]), NaiveTotal(naive_[i])) << "list " << i << " step " << step;
      ASSERT_EQ(realInfo_[i]->entries, naiveInfo_[i]->entries) << "list " << i << " step " << step;
      ASSERT_EQ(realInfo_[i]->reclaimed, naiveInfo_[i]->reclaimed) << "list " << i << " step " << step;
    }
    const naive_list::State& n = naive_list::gState;
    ASSERT_EQ(gSM_TotalBytesAllocated, n.totalAllocated) << step;
    ASSERT_EQ(gSM_CurrentBytesAllocated, n.currentAllocated) << step;
    ASSERT_EQ(gSM_MaximumBytesAllocated, n.maximumAllocated) << step;
    ASSERT_EQ(gSM_TotalBytesFreed, n.totalFreed) << step;
  }

  void ExpectSameContent(int step) {
    for (int i = 0; i < kLists; ++i)
      ASSERT_EQ(RealEntries(real_[i]), NaiveEntries(naive_[i])) << "list " << i << " step " << step;
  }

  // Sorts every list and sublist on both sides and compares the chains.
  void ExpectSameSort() {
    for (int i = 0; i < kLists; ++i) {
      ListItem* r = SortList(real_[i]);
      naive_[i] = naive_list::SortList(naive_[i]);
      for (naive_list::Node* n = naive_[i]; n || r; n = n->next, r = r->next) {
        ASSERT_TRUE(n && r) << "list " << i << ": chains of different length";
        ASSERT_STREQ(r->item, n->item) << "list " << i;
        ASSERT_EQ(r->count, n->count) << r->item;
        ListItem* rs = SortList(r->sublist);
        n->sublist = naive_list::SortList(n->sublist);
        for (naive_list::Node* ns = n->sublist; ns || rs; ns = ns->next, rs = rs->next) {
          ASSERT_TRUE(ns && rs) << "sublist of " << r->item;
          ASSERT_STREQ(rs->item, ns->item);
          ASSERT_EQ(rs->count, ns->count);
        }
      }
    }
  }

  int TotalReclaimed() const {
    int total = 0;
    for (int i = 0; i < kLists; ++i) total += realInfo_[i]->reclaimed;
    return total;
  }

 private:
  // Texts drawn with a heavy head and a long tail, from an alphabet that
  // mixes letters of both cases, punctuation that sorts between the cases,
  // and bytes above 127; now and then longer than a list keeps.
  std::string RandomText() {
    static const char kAlphabet[] = "abcXYZ_[~0/\xe4\xc4";
    double u = std::uniform_real_distribution<double>(0, 1)(rng_);
    unsigned id = static_cast<unsigned>(u * u * u * 3000);
    std::string text = "/";
    for (unsigned v = id + 1; v; v /= 13) text += kAlphabet[v % 13];
    if (id % 97 == 5) text = std::string(243, 'L') + text;  // differs only past the cut
    for (char& c : text)
      if (rng_() % 8 == 0 && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) c ^= 0x20;
    return text;
  }

  std::mt19937 rng_;
  bool enabled_ = false;
  ItemList* real_[kLists];
  ListInfo* realInfo_[kLists];
  naive_list::Node* naive_[kLists];
  naive_list::Info* naiveInfo_[kLists];
};

int SeedCount() {
  const char* value = getenv("LOGLANTERN_PROPERTY_SEEDS");
  return value ? std::max(1, atoi(value)) : 24;
}

Settings RandomSettings(std::mt19937& rng) {
  static const int kKeep[] = {-3, 0, 1, 7, 40, 100, 600};
  static const int kReclaim[] = {0, 1, 1, 2, 3, 10, 40};
  static const int kMax[] = {0, 499, 500, 500, 510, 540};
  return Settings{rng() % 8 != 0 ? 1 : 0, kKeep[rng() % 7], kReclaim[rng() % 7], kMax[rng() % 6]};
}

TEST(ListProperty, IndexedListsBehaveLikeOrderedLinkedLists) {
  std::mt19937 settingsRng(20240611);
  int reclaimingRuns = 0;
  for (int seed = 1; seed <= SeedCount(); ++seed) {
    Settings s = RandomSettings(settingsRng);
    SCOPED_TRACE(testing::Message() << "seed " << seed << " enabled " << s.enabled << " keep "
                                    << s.keep << " reclaimK " << s.reclaimK << " maxK " << s.maxK);
    ListModels models(seed);
    models.Configure(s);
    for (int step = 1; step <= 6000; ++step) {
      ASSERT_NO_FATAL_FAILURE(models.Step());
      ASSERT_NO_FATAL_FAILURE(models.ExpectSameCounters(step));
      if (step % 500 == 0) {
        ASSERT_NO_FATAL_FAILURE(models.ExpectSameContent(step));
      }
    }
    if (models.TotalReclaimed() > 0) ++reclaimingRuns;
    // Odd seeds sort without the sort array, as when memory is refused.
    ListRefuseSortMemoryForTesting(seed % 2 == 1);
    ASSERT_NO_FATAL_FAILURE(models.ExpectSameSort());
    ListRefuseSortMemoryForTesting(false);
  }
  // The sequences must exercise reclamation, not only counting.
  EXPECT_GE(reclaimingRuns, SeedCount() / 4);
}

}  // namespace

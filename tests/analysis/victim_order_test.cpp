// ListNextVictim against a direct computation of the reclamation order:
// counting, taking victims (with and without a protected node) and removing
// nodes out of turn are interleaved at random, and every victim must be the
// lowest node by (count, text) of the list as it stands.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "analysis/list.h"

namespace {

struct Model {
  bool ignoreCase;
  std::map<std::string, std::pair<std::string, int>> items;  // folded -> spelling, count

  std::string Key(std::string s) const {
    if (ignoreCase)
      for (char& c : s) c = (c >= 'A' && c <= 'Z') ? c + 32 : c;
    return s;
  }
  // The lowest spelling by (count, text under the list's comparison), but `skip`.
  std::string Lowest(const std::string& skip) const {
    const std::pair<std::string, int>* best = nullptr;
    for (const auto& [key, item] : items) {
      if (item.first == skip) continue;
      // In folded-key order, equal counts are already in strcasecmp order.
      if (!best || std::max(item.second, 1) < std::max(best->second, 1)) best = &item;
    }
    return best ? best->first : "";
  }
};

ListItem* NodeOf(ItemList* list, const std::string& text) {
  std::vector<ListItem*> nodes(list_length(list));
  nodes.resize(ListLowestItems(list, nullptr, nodes.data(), static_cast<int>(nodes.size())));
  for (ListItem* node : nodes)
    if (text == node->item) return node;
  return nullptr;
}

TEST(VictimOrder, FollowsCountThenTextThroughCountingAndRemoval) {
  struct Case {
    bool ignoreCase;
    uint32_t minimumQueue;  // small: the queue is cut and rebuilt often
    int distinct;           // texts to draw from
  };
  const Case cases[] = {
      {false, 8, 300}, {true, 8, 300}, {false, 50, 2000}, {true, 1, 60}, {false, 4096, 300}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "ignoreCase " << c.ignoreCase << " queue "
                                    << c.minimumQueue << " distinct " << c.distinct);
    ListSetMinimumVictimQueueForTesting(c.minimumQueue);
    std::mt19937 rng(c.distinct + c.ignoreCase);
    ItemList* list = nullptr;
    Model model{c.ignoreCase, {}};
    auto text = [&](int i) {
      // Shared long prefixes, and capitals that only an ignore-case list folds.
      std::string t = (i % 3 ? "/archive/section/" : "/Archive/") + std::to_string(i * 7919 % 1000);
      return i % 5 == 0 ? t + "/A" : t;
    };
    for (int step = 0; step < 4000; ++step) {
      int roll = static_cast<int>(rng() % 100);
      if (roll < 70) {
        // Skewed: low numbers come up far more often.
        int r = static_cast<int>(rng() % c.distinct);
        std::string t = text(static_cast<int>(r * (rng() % 100) / 100));
        add_item(&list, nullptr, t.c_str(), nullptr, nullptr, c.ignoreCase);
        auto& item = model.items[model.Key(t)];
        if (item.first.empty()) item.first = t;
        item.second++;
      } else if (roll < 99) {
        // A reclamation: a few victims, sometimes with a protected node.
        std::string skip;
        if (roll % 3 == 0 && !model.items.empty()) {
          auto it = model.items.begin();
          std::advance(it, rng() % model.items.size());
          skip = it->second.first;
        } else if (roll % 3 == 1) {
          skip = model.Lowest("");  // the node that would go first stays
        }
        ListItem* protectedNode = skip.empty() ? nullptr : NodeOf(list, skip);
        for (int k = static_cast<int>(rng() % 20); k > 0; --k) {
          bool ok = false;
          ListItem* victim = ListNextVictim(list, protectedNode, &ok);
          ASSERT_TRUE(ok);
          std::string expected = model.Lowest(skip);
          ASSERT_EQ(victim ? victim->item : "", expected) << "step " << step;
          if (!victim) break;
          EXPECT_EQ(ListRemoveItem(list, victim), 1);
          model.items.erase(model.Key(expected));
        }
      } else if (!model.items.empty()) {
        // Removed out of turn.
        auto it = model.items.begin();
        std::advance(it, rng() % model.items.size());
        EXPECT_EQ(ListRemoveItem(list, NodeOf(list, it->second.first)), 1);
        model.items.erase(it);
      }
    }
    EXPECT_EQ(list_length(list), static_cast<int>(model.items.size()));
    destroy(list);
  }
  ListSetMinimumVictimQueueForTesting(4096);
}

}  // namespace

// ListNextVictim against a direct computation of the reclamation order: counting, taking victims (with
// and without a protected node) and removing nodes out of turn are interleaved at random, and every
// victim must be the lowest node by (count, text) of the list as it stands.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>

#include "analysis/list.h"

namespace {

struct Model {
  bool ignoreCase;
  std::map<std::string, std::pair<std::string, int>> items;  // folded -> spelling, count

  std::string Key(std::string s) const {
    for (char& c : s) c = (ignoreCase && c >= 'A' && c <= 'Z') ? c + 32 : c;
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
  const struct {
    bool ignoreCase;
    uint32_t minimumQueue;  // small: the queue is cut and rebuilt often
    int distinct;           // texts to draw from
  } cases[] = {{false, 8, 300}, {true, 8, 300}, {false, 50, 2000}, {true, 1, 60}, {false, 4096, 300}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "ignoreCase " << c.ignoreCase << " queue " << c.minimumQueue << " distinct " << c.distinct);
    ListSetMinimumVictimQueueForTesting(c.minimumQueue);
    std::mt19937 rng(c.distinct + c.ignoreCase);
    ItemList* list = nullptr;
    Model model{c.ignoreCase, {}};
    // Shared long prefixes, and capitals that only an ignore-case list folds.
    auto text = [](int i) { return (i % 3 ? "/archive/section/" : "/Archive/") + std::to_string(i * 7919 % 1000) + (i % 5 ? "" : "/A"); };
    auto anyItem = [&] { return std::next(model.items.begin(), static_cast<long>(rng() % model.items.size())); };
    for (int step = 0; step < 4000; ++step) {
      const int roll = static_cast<int>(rng() % 100);
      if (roll < 70) {  // counted, skewed: low numbers come up far more often
        const int r = static_cast<int>(rng() % c.distinct);
        const std::string t = text(static_cast<int>(r * (rng() % 100) / 100));
        add_item(&list, nullptr, t.c_str(), nullptr, nullptr, c.ignoreCase);
        auto& [spelling, count] = model.items[model.Key(t)];
        spelling = spelling.empty() ? t : spelling, count++;
      } else if (roll < 99) {  // a reclamation: a few victims, sometimes with a protected node
        std::string skip;
        if (roll % 3 == 0 && !model.items.empty()) skip = anyItem()->second.first;
        if (roll % 3 == 1) skip = model.Lowest("");  // the node that would go first stays
        ListItem* protectedNode = skip.empty() ? nullptr : NodeOf(list, skip);
        for (int k = static_cast<int>(rng() % 20); k > 0; --k) {
          bool ok = false;
          ListItem* victim = ListNextVictim(list, protectedNode, &ok);
          ASSERT_TRUE(ok);
          const std::string expected = model.Lowest(skip);
          ASSERT_EQ(victim ? victim->item : "", expected) << "step " << step;
          if (!victim) break;
          EXPECT_EQ(ListRemoveItem(list, victim), 1);
          model.items.erase(model.Key(expected));
        }
      } else if (!model.items.empty()) {  // removed out of turn
        const auto it = anyItem();
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

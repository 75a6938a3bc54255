#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>

#include "support/fixtures.h"

namespace {

// The step in niceness a child takes from MakeNice: only priorities 1 to 19
// lower it (the kernel caps niceness at 19, so 19 shows whole from 0).
TEST(MakeNice, LowersPriorityOnlyFrom1To19) {
  const int before = getpriority(PRIO_PROCESS, 0);
  for (const auto& [priority, step] : {std::pair{0, 0}, {-5, 0}, {20, 0}, {1, 1}, {19, 19 - before}}) {
    auto r = front_test::RunInChild([priority = priority] {
      StatsFields settings;
      settings.priority = priority;
      MakeNice(&settings);
      printf("%d", getpriority(PRIO_PROCESS, 0) - getpriority(PRIO_PROCESS, getppid()));
    });
    EXPECT_EQ(atoi(r.out.c_str()), step) << priority;
  }
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>

#include "support/fixtures.h"

namespace {

// The niceness a child ends with after MakeNice with the given priority.
int NicenessAfter(int priority) {
  auto r = front_test::RunInChild([priority] {
    StatsFields settings;
    CgiEnv env;
    initialize(&settings, &env);
    settings.priority = priority;
    int before = getpriority(PRIO_PROCESS, 0);
    MakeNice(&settings);
    printf("%d", getpriority(PRIO_PROCESS, 0) - before);
  });
  return atoi(r.out.c_str());
}

TEST(MakeNice, LowersPriorityOnlyFrom1To19) {
  EXPECT_EQ(NicenessAfter(0), 0);
  EXPECT_EQ(NicenessAfter(-5), 0);
  EXPECT_EQ(NicenessAfter(20), 0);
  EXPECT_EQ(NicenessAfter(1), 1);
  int before = getpriority(PRIO_PROCESS, 0);
  // The kernel caps niceness at 19, so the full step shows from niceness 0.
  EXPECT_EQ(NicenessAfter(19), before == 0 ? 19 : 19 - before);
}

TEST(EndLoglanternCleanup, ReleasesBothTextsAndMaySafelyRunTwice) {
  StatsFields settings;
  CgiEnv env;
  initialize(&settings, &env);
  settings.extraHeader = strdup("header");
  settings.extraFooter = strdup("footer");
  EndLoglanternCleanup(&settings);
  EXPECT_EQ(settings.extraHeader, nullptr);
  EXPECT_EQ(settings.extraFooter, nullptr);
  EndLoglanternCleanup(&settings);
  EndLoglanternCleanup(nullptr);
}

}  // namespace

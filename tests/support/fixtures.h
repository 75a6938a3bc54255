// Fresh settings and CGI records with every module's state reset, and a way
// to run code that ends the process (error and information pages).
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "analysis/list.h"
#include "analysis/smart_memory.h"
#include "base/globals.h"
#include "cgi/cgi_env.h"
#include "driver/driver.h"
#include "report/frame.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"
#include "support/test_support.h"

// Settings as initialize() leaves them, every module started fresh, and the
// values most report tests need; heap texts and lists released afterwards.
class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings, &env);
    ResetExtraTextRanksForTesting();
    ResetGlobalsForTesting();
    SuperLog_ResetForTesting();
    smart_memory_reset_for_testing();
    smart_memory_init(&settings);
  }
  void TearDown() override {
    EndLoglanternCleanup(&settings);
    destroyListInfo();
    SuperLog_ResetForTesting();
    ResetGlobalsForTesting();
  }
  void Reset() { TearDown(); SetUp(); }  // fresh records within one test
  void ReportDefaults() {
    settings.title.set("Web Site Analysis");
    settings.url.set("http://www.example.org");
    settings.imagePath.set("/img");
    settings.find.set("/");
  }
  void Form(const std::string& word) { CompareParam(word.c_str(), &settings, &env, "form", 2); }
  void Ini(const std::string& word) { CompareParam(word.c_str(), &settings, &env, "ini", 4); }

  StatsFields settings;
  CgiEnv env;
};

namespace front_test {

using ChildResult = testing_support::RunResult;  // err stays empty: the child shares the test's stderr

// Runs body() in a forked child with its standard output sent to a file; a
// body that returns ends the child with status 0 after flushing.
template <typename Body>
ChildResult RunInChild(Body body) {
  testing_support::TempDir dir;
  const std::string outPath = dir.file("stdout");
  fflush(stdout);
  pid_t pid = fork();
  if (pid == 0) {
    if (!freopen(outPath.c_str(), "w", stdout)) _exit(125);
    body();
    fflush(stdout);
    _exit(0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), testing_support::ReadFile(outPath), {}};
}

}  // namespace front_test

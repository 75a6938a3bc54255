// A fresh settings record and CGI record for each settings test, with the
// extra-text ranks reset and the heap texts released afterwards.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "cgi/cgi_env.h"
#include "driver/driver.h"
#include "report/frame.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"

class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings, &env);
    ResetExtraTextRanksForTesting();
  }
  void TearDown() override { EndLoglanternCleanup(&settings); }

  // Starts again from fresh records within one test.
  void Reset() {
    EndLoglanternCleanup(&settings);
    SetUp();
  }

  void Form(const std::string& word) { CompareParam(word.c_str(), &settings, &env, "form", 2); }
  void Ini(const std::string& word) { CompareParam(word.c_str(), &settings, &env, "ini", 4); }

  StatsFields settings;
  CgiEnv env;
};

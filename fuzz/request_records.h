// Fresh records for the fuzz targets of the request surfaces, and the check that
// every text field is still terminated inside its own width (the sanitizers
// cannot see a text that runs from one field of a record into the next).
#pragma once
#include <cstring>
#include <string>

#include "cgi/cgi_env.h"
#include "driver/driver.h"
#include "report/frame.h"
#include "settings/config_file.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

struct RequestRecords {
  RequestRecords() {
    initialize(&settings, &env);
    ResetExtraTextRanksForTesting();
    SuperLog_ResetForTesting();
  }
  ~RequestRecords() { EndLoglanternCleanup(&settings); }

  std::string Overrun() const {
    std::string problem;
#define LL_FIELD(record, field) \
  if (problem.empty() && strnlen(record.field.s, sizeof record.field.s) >= sizeof record.field.s) problem = #field " overran";
#define LL_SETTINGS(f) LL_FIELD(settings, f)
    LL_SETTINGS(configFile) LL_SETTINGS(imagePath) LL_SETTINGS(find) LL_SETTINGS(accountFind) LL_SETTINGS(formFind)
    LL_SETTINGS(title) LL_SETTINGS(url) LL_SETTINGS(filterDomains) LL_SETTINGS(filterFileTypes) LL_SETTINGS(dateStart)
    LL_SETTINGS(dateEnd) LL_SETTINGS(startMonth) LL_SETTINGS(startDay) LL_SETTINGS(endMonth) LL_SETTINGS(endDay)
    LL_SETTINGS(logs) LL_SETTINGS(accessLog) LL_SETTINGS(summary) LL_SETTINGS(networksFile) LL_SETTINGS(username)
    LL_SETTINGS(password) LL_SETTINGS(errorLog) LL_SETTINGS(accountPassword) LL_SETTINGS(internalIp)
    LL_SETTINGS(userPasswords) LL_SETTINGS(authRealm) LL_SETTINGS(authUser) LL_SETTINGS(base)
    LL_FIELD(env, QUERY_STRING) LL_FIELD(env, SCRIPT_NAME) LL_FIELD(env, REMOTE_HOST)
#undef LL_SETTINGS
#undef LL_FIELD
    return problem;
  }

  StatsFields settings;
  CgiEnv env;
};

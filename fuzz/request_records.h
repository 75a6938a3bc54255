// Fresh settings and CGI records for the fuzz targets of the request surfaces
// (form body, keyword words, configuration file), and the check that every
// text field of both is still terminated inside its own width: the sanitizers
// cannot see a text that runs from one field of a record into the next.
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
    LL_FIELD(settings, configFile) LL_FIELD(settings, imagePath) LL_FIELD(settings, find)
    LL_FIELD(settings, accountFind) LL_FIELD(settings, formFind) LL_FIELD(settings, title)
    LL_FIELD(settings, url) LL_FIELD(settings, filterDomains) LL_FIELD(settings, filterFileTypes)
    LL_FIELD(settings, dateStart) LL_FIELD(settings, dateEnd) LL_FIELD(settings, startMonth)
    LL_FIELD(settings, startDay) LL_FIELD(settings, endMonth) LL_FIELD(settings, endDay)
    LL_FIELD(settings, logs) LL_FIELD(settings, accessLog) LL_FIELD(settings, summary)
    LL_FIELD(settings, networksFile) LL_FIELD(settings, username) LL_FIELD(settings, password)
    LL_FIELD(settings, errorLog) LL_FIELD(settings, accountPassword) LL_FIELD(settings, internalIp)
    LL_FIELD(settings, userPasswords) LL_FIELD(settings, authRealm) LL_FIELD(settings, authUser)
    LL_FIELD(settings, base) LL_FIELD(env, QUERY_STRING) LL_FIELD(env, SCRIPT_NAME) LL_FIELD(env, REMOTE_HOST)
#undef LL_FIELD
    return problem;
  }

  StatsFields settings;
  CgiEnv env;
};

#include "settings/stats_fields.h"

#include "cgi/cgi_env.h"

void initialize(StatsFields* settings, CgiEnv* env) {
  *settings = StatsFields{};
  settings->configFile.set("loglantern.conf");
  *env = CgiEnv{};
}

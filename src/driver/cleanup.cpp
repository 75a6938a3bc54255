// The process priority.

#include <unistd.h>

#include "driver/driver.h"
#include "settings/stats_fields.h"

// No module state.

void MakeNice(const StatsFields* settings) {
  if (settings->priority >= 1 && settings->priority <= 19) {
    // A refused nice() only means the report runs at the usual priority.
    [[maybe_unused]] int ignored = nice(settings->priority);
  }
}

// Orderly endings and the process priority.  Kept apart from the run itself
// so that the error pages (which end every failed run) need nothing else of
// the driver.

#include <unistd.h>

#include <cstdlib>

#include "driver/driver.h"
#include "settings/stats_fields.h"

// No module state.

void EndLoglanternCleanup(StatsFields* settings) {
  if (!settings) return;
  free(settings->extraFooter);
  free(settings->extraHeader);
  settings->extraFooter = nullptr;
  settings->extraHeader = nullptr;
}

void MakeNice(const StatsFields* settings) {
  if (settings->priority >= 1 && settings->priority <= 19) {
    // A refused nice() only means the report runs at the usual priority.
    [[maybe_unused]] int ignored = nice(settings->priority);
  }
}

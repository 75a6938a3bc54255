// Program-wide state shared between subsystems.
//
// Module state stays inside each module's .cpp; what more than one
// subsystem reads or writes is declared here, once.
#pragma once

#include <cstdint>

struct ListInfo;

// The catalogue of the analysis pass's top-level item lists, in order of entry.
struct ListCatalogue {
  ListInfo* first = nullptr;
  ListInfo* last = nullptr;
};
extern ListCatalogue gListInfo;

// Smart-memory statistics, in bytes (32-bit signed counts).
extern int32_t gSM_TotalBytesAllocated;
extern int32_t gSM_CurrentBytesAllocated;
extern int32_t gSM_MaximumBytesAllocated;
extern int32_t gSM_TotalBytesFreed;

// Browser counters of the analysis pass, read by the Browsers section.
extern int32_t gHits_Browsers;
extern int32_t MsieCount;
extern int32_t NavCount;

// Resets the statistics and counters above to their process-start values
// (the catalogue pointers too; it frees nothing).  For tests.
void ResetGlobalsForTesting();

#include "base/globals.h"

ListCatalogue gListInfo;
int32_t gSM_TotalBytesAllocated = 0;
int32_t gSM_CurrentBytesAllocated = 0;
int32_t gSM_MaximumBytesAllocated = 0;
int32_t gSM_TotalBytesFreed = 0;
int32_t gHits_Browsers = 0;
int32_t MsieCount = 0;
int32_t NavCount = 0;

void ResetGlobalsForTesting() {
  gListInfo = ListCatalogue{};
  gSM_TotalBytesAllocated = 0;
  gSM_CurrentBytesAllocated = 0;
  gSM_MaximumBytesAllocated = 0;
  gSM_TotalBytesFreed = 0;
  gHits_Browsers = 0;
  MsieCount = 0;
  NavCount = 0;
}

// The log reader's module state, the SuperLong counter and the reset used
// by tests.
#include <cstdlib>

#include "superlog/superlog_state.h"

// ---- module state: one block for the whole reader (see superlog_state.h)
SuperLogState mState;
alignas(64) char mBigBuf[kReadChunk];
alignas(64) char mLineBufs[2][kLineBufSize];
const char* const mpMonthStrs[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
// ----

namespace {
constexpr uint32_t kSuperLongUnit = 1000000000u;
}

bool ProcessorHasAvx2() {
#if defined(__x86_64__) && defined(__GNUC__)
  __builtin_cpu_init();  // may run among the static initialisers
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

// Adds amount to the counter.  The second word keeps the remainder; it is
// carried into the first word only when it goes above 10^9, so a sum of
// exactly 10^9 stays in the second word.
void SuperLongAdd(SuperLong* counter, uint32_t amount) {
  uint64_t s = static_cast<uint64_t>(counter->second) + amount;
  if (s > kSuperLongUnit) {
    uint64_t q = s / kSuperLongUnit;
    counter->first += static_cast<uint32_t>(q);
    s -= q * kSuperLongUnit;
  }
  counter->second = static_cast<uint32_t>(s);
}

double SuperLongToDouble(SuperLong value) {
  return static_cast<double>(value.first) * 1e9 + static_cast<double>(value.second);
}

void SuperLog_GetTotalLogBytesRead(SuperLong* out) { *out = mState.mTotalLogBytesRead; }

void SuperLog_ResetForTesting() {
  ResetBigBuf();  // gives back a mapped window
  if (mState.mhFile) fclose(mState.mhFile);
  if (mState.mFindOpen) globfree(&mState.mFindGlob);
  FreeLogsList();
  free(mState.mpFullUrlBuf);
  mState = SuperLogState{};
}

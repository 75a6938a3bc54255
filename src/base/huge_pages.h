// Memory mapped at a 2 MB boundary and offered to the kernel as huge pages,
// for the big tables of the analysis pass: one page-table entry then covers
// what thousands of small pages would, and table probes miss the TLB less.
#pragma once

#include <cstddef>

namespace ll {

constexpr size_t kHugePageBytes = size_t{2} << 20;

// Maps bytes (rounded up to whole huge pages) at a huge-page boundary,
// zeroed; nullptr when the system refuses.  Only what is returned stays
// mapped, so that address-space limits see what is used.  A request below a
// huge page would not pay for one (the whole page is zeroed when first
// touched, and the address cache reaches that far with plain pages): it gets
// plain pages.
void* MapHugeAligned(size_t bytes);
// Gives back a mapping of MapHugeAligned, with the bytes it was asked for.
void UnmapHugeAligned(void* memory, size_t bytes);

}  // namespace ll

#include "MemoryTuning.h"

#include <malloc.h>

#include <atomic>

namespace qv {

void tuneMemoryForLargeWork(LargeBlocks blocks) {
    mallopt(M_TOP_PAD, 64 << 20);
    if (blocks == LargeBlocks::Reused) mallopt(M_MMAP_MAX, 0);
}

namespace {
std::atomic<bool> giveBackAfterLargeWork{false};
}  // namespace

void setGiveBackMemoryAfterLargeWork(bool giveBack) { giveBackAfterLargeWork = giveBack; }

void giveBackMemoryAfterLargeWork() {
    if (giveBackAfterLargeWork) malloc_trim(0);
}

}  // namespace qv

#include "platform/HeapSettings.hpp"

#include <malloc.h>

namespace Quarlen::Platform {

void shareOneHeap() noexcept {
    constexpr int kibibyte = 1024;
    // NOLINTBEGIN(concurrency-mt-unsafe): called before the program starts its first thread
    ::mallopt(M_ARENA_MAX, 1);
    // By default both thresholds grow with the largest block that the program has freed.
    ::mallopt(M_MMAP_THRESHOLD, 512 * kibibyte);
    ::mallopt(M_TRIM_THRESHOLD, 2048 * kibibyte);
    // NOLINTEND(concurrency-mt-unsafe)
}

} // namespace Quarlen::Platform

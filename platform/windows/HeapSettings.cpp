#include "platform/HeapSettings.hpp"

namespace Quarlen::Platform {

/// On Windows all threads share one heap, which does not keep large blocks.
void shareOneHeap() noexcept {}

} // namespace Quarlen::Platform

#include "platform/HeapSettings.hpp"

namespace Quarlen::Platform {

/// They share one there, which does not keep large pieces.
void shareOneHeap() noexcept {}

} // namespace Quarlen::Platform

#include "platform/FreeMemory.hpp"

#include <malloc.h>

namespace Quarlen::Platform {

void releaseFreeMemory() noexcept {
    _heapmin();
}

} // namespace Quarlen::Platform

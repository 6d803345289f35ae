#include "platform/FreeMemory.hpp"

#include <malloc.h>

namespace Quarlen::Platform {

void releaseFreeMemory() noexcept {
    malloc_trim(0);
}

} // namespace Quarlen::Platform

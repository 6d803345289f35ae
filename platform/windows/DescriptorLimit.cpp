#include "platform/DescriptorLimit.hpp"

namespace Quarlen::Platform {

/// Windows has no such limit.
void raiseDescriptorLimit() noexcept {}

} // namespace Quarlen::Platform

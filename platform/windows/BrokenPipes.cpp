#include "platform/BrokenPipes.hpp"

namespace Quarlen::Platform {

/// On Windows a broken pipe is a failed write anyway.
void surviveBrokenPipes() {}

} // namespace Quarlen::Platform

#include "platform/BrokenPipes.hpp"

namespace Quarlen::Platform {

/// A broken pipe is a failed write here from the start.
void surviveBrokenPipes() {}

} // namespace Quarlen::Platform

#include "platform/BrokenPipes.hpp"

#include <csignal>

namespace Quarlen::Platform {

void surviveBrokenPipes() {
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace Quarlen::Platform

#include "platform/DescriptorLimit.hpp"

#include <algorithm>
#include <sys/resource.h>

namespace Quarlen::Platform {

void raiseDescriptorLimit() noexcept {
    constexpr rlim_t wanted = 8192;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) {
        return;
    }
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    // Where it fails the server has room for fewer clients.
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace Quarlen::Platform

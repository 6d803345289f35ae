#include "platform/ConnectionSocket.hpp"

#include <cerrno>
#include <limits>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

namespace Quarlen::Platform {

std::size_t socketLimit() noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return std::numeric_limits<std::size_t>::max();
    }
    return limit.rlim_cur;
}

void neverWait(std::intptr_t socket) noexcept {
    int on = 1;
    ::ioctl(static_cast<int>(socket), FIONBIO, &on);
}

bool wouldHaveWaited() noexcept {
    return errno == EAGAIN;
}

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_RD);
}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_WR);
}

} // namespace Quarlen::Platform

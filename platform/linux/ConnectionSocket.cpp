#include "platform/ConnectionSocket.hpp"

#include <cerrno>
#include <limits>
#include <netinet/in.h>
#include <netinet/tcp.h>
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

void sendAtOnce(std::intptr_t socket) noexcept {
    const int on = 1;
    ::setsockopt(static_cast<int>(socket), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
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

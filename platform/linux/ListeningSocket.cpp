#include "platform/ListeningSocket.hpp"

#include <cerrno>
#include <sys/socket.h>

namespace Quarlen::Platform {

void bindExclusively(std::intptr_t socket) noexcept {
    // On Linux the option only ignores old connections; a second listener is still refused.
    const int on = 1;
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

void bindBesideListeners(std::intptr_t socket) noexcept {
    const int on = 1;
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

bool oldConnectionsKeepTheAddress() noexcept {
    return false;
}

bool socketsHearBroadcasts() noexcept {
    return false;
}

Accepted acceptConnection(std::intptr_t listening) noexcept {
    const int connection = ::accept4(static_cast<int>(listening), nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
        return {.error = {errno, std::system_category()}};
    }
    return {.connection = connection, .error = {}};
}

AcceptFault acceptFaultOf(int code) noexcept {
    switch (code) {
    case 0:
        return AcceptFault::NobodyCame;
    case EBADF:
    case EINVAL:
    case ENOTSOCK:
        return AcceptFault::SocketEnded;
    default:
        // A blocking socket does not give EAGAIN, so it is not an empty queue either.
        return AcceptFault::Passing;
    }
}

} // namespace Quarlen::Platform

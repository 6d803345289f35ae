#include "platform/ListeningSocket.hpp"

#include <cerrno>
#include <sys/socket.h>

namespace Quarlen::Platform {

void bindExclusively(std::intptr_t socket) noexcept {
    // On Linux the option only ignores old connections; a second listener is still refused.
    const int on = 1;
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

Accepted acceptConnection(std::intptr_t listening) noexcept {
    const int connection = ::accept4(static_cast<int>(listening), nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
        return {.error = {errno, std::system_category()}};
    }
    return {.connection = connection, .error = {}};
}

bool endsListening(const std::error_code& error) noexcept {
    return error.value() == EBADF || error.value() == EINVAL || error.value() == ENOTSOCK;
}

} // namespace Quarlen::Platform

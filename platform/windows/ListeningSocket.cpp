#include "platform/ListeningSocket.hpp"

#include <winsock2.h>

namespace Quarlen::Platform {

namespace {

/// How long one wait for a client takes: closing the socket does not end it on every system.
constexpr long longestWaitInMicroseconds = 100'000;

/// True as well when the socket cannot be waited for: accepting tells why.
bool mayAccept(SOCKET listening) noexcept {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(listening, &sockets);
    timeval longestWait{.tv_sec = 0, .tv_usec = longestWaitInMicroseconds};
    return ::select(0, &sockets, nullptr, nullptr, &longestWait) != 0;
}

} // namespace

void claimAddress(std::intptr_t socket) noexcept {
    // SO_REUSEADDR would let two programs listen on one address here.
    const BOOL on = TRUE;
    ::setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                 reinterpret_cast<const char*>(&on), sizeof(on));
}

Accepted acceptConnection(std::intptr_t listening) noexcept {
    const auto socket = static_cast<SOCKET>(listening);
    if (!mayAccept(socket)) {
        return {};
    }
    const SOCKET connection = ::WSAAccept(socket, nullptr, nullptr, nullptr, 0);
    if (connection == INVALID_SOCKET) {
        return {.error = {::WSAGetLastError(), std::system_category()}};
    }
    return {.connection = static_cast<std::intptr_t>(connection), .error = {}};
}

bool endsListening(const std::error_code& error) noexcept {
    return error.value() == WSAENOTSOCK || error.value() == WSAEINVAL;
}

} // namespace Quarlen::Platform

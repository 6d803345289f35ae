#include "platform/ListeningSocket.hpp"

#include "platform/windows/ClientWait.hpp"

namespace Quarlen::Platform {

namespace {

/// How long one wait for a client takes: closing the socket does not end it on every system.
constexpr long maxWaitInMicroseconds = 100'000;

int waitForClient(SOCKET listening) noexcept {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(listening, &sockets);
    timeval maxWait{.tv_sec = 0, .tv_usec = maxWaitInMicroseconds};
    return ::select(0, &sockets, nullptr, nullptr, &maxWait);
}

/// Winsock leaves errno alone.
Accepted failed() noexcept {
    return {.error = {::WSAGetLastError(), std::system_category()}};
}

void setNonBlocking(SOCKET socket, bool on) noexcept {
    u_long value = on ? 1 : 0;
    ::ioctlsocket(socket, FIONBIO, &value);
}

} // namespace

void bindExclusively(std::intptr_t socket) noexcept {
    // SO_REUSEADDR would let two programs listen on one address here.
    const BOOL on = TRUE;
    ::setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                 reinterpret_cast<const char*>(&on), sizeof(on));
}

void bindBesideListeners(std::intptr_t socket) noexcept {
    // One address and all of them are different addresses here. SO_REUSEADDR would let another
    // program take the one.
    bindExclusively(socket);
}

bool oldConnectionsKeepTheAddress() noexcept {
    return true;
}

bool socketsHearBroadcasts() noexcept {
    return true;
}

Accepted acceptAfter(const ClientWait& wait, std::intptr_t listening) {
    const auto socket = static_cast<SOCKET>(listening);
    const int ready = wait(socket);
    if (ready == SOCKET_ERROR) {
        return failed();
    }
    if (ready == 0) {
        return {};
    }
    // The client may have gone meanwhile; a blocking wait for the next one would not end with the
    // server.
    setNonBlocking(socket, true);
    const SOCKET connection = ::WSAAccept(socket, nullptr, nullptr, nullptr, 0);
    if (connection == INVALID_SOCKET) {
        return failed();
    }
    setNonBlocking(connection, false); // which it has from the listening socket
    return {.connection = static_cast<std::intptr_t>(connection), .error = {}};
}

Accepted acceptConnection(std::intptr_t listening) noexcept {
    return acceptAfter(waitForClient, listening);
}

AcceptFault acceptFaultOf(int code) noexcept {
    switch (code) {
    case 0:
    case WSAEWOULDBLOCK:
        return AcceptFault::NobodyCame;
    case WSAENOTSOCK:
    case WSAEINVAL:
    case WSAEOPNOTSUPP:
    case WSANOTINITIALISED:
        return AcceptFault::SocketEnded;
    default:
        return AcceptFault::Passing;
    }
}

} // namespace Quarlen::Platform

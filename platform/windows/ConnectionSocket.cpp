#include "platform/ConnectionSocket.hpp"

#include <limits>
#include <winsock2.h>

namespace Quarlen::Platform {

/// Memory is the only limit there.
std::size_t socketLimit() noexcept {
    return (std::numeric_limits<std::size_t>::max)();
}

void neverWait(std::intptr_t socket) noexcept {
    u_long on = 1;
    ::ioctlsocket(static_cast<SOCKET>(socket), FIONBIO, &on);
}

void sendAtOnce(std::intptr_t socket) noexcept {
    const BOOL on = TRUE;
    ::setsockopt(static_cast<SOCKET>(socket), IPPROTO_TCP, TCP_NODELAY,
                 reinterpret_cast<const char*>(&on), sizeof(on));
}

bool wouldHaveWaited() noexcept {
    return ::WSAGetLastError() == WSAEWOULDBLOCK;
}

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_RECEIVE);
}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_SEND);
}

} // namespace Quarlen::Platform

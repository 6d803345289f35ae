#include "platform/ConnectionSocket.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string_view>
#include <winsock2.h>
#include <ws2tcpip.h>

namespace Quarlen::Platform {

namespace {

bool isReadyFor(short events, std::intptr_t socket, std::chrono::milliseconds timeout) noexcept {
    WSAPOLLFD entry{.fd = static_cast<SOCKET>(socket), .events = events, .revents = 0};
    return ::WSAPoll(&entry, 1, static_cast<int>(timeout.count())) > 0;
}

/// Winsock counts in int.
int countOf(std::size_t size) noexcept {
    return static_cast<int>(
        std::min<std::size_t>(size, static_cast<std::size_t>((std::numeric_limits<int>::max)())));
}

using AddressOf = int(WSAAPI*)(SOCKET, sockaddr*, int*);

SocketAddress addressOf(std::intptr_t socket, AddressOf function) {
    sockaddr_storage address{};
    int length = sizeof(address);
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> service{};
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (function(static_cast<SOCKET>(socket), generic, &length) != 0 ||
        ::getnameinfo(generic, length, host.data(), static_cast<DWORD>(host.size()), service.data(),
                      static_cast<DWORD>(service.size()), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return {};
    }
    SocketAddress result{.host = host.data()};
    const std::string_view digits = service.data();
    std::from_chars(digits.data(), digits.data() + digits.size(), result.port);
    return result;
}

} // namespace

/// On Windows only memory limits the number of sockets.
std::size_t socketLimit() noexcept {
    return (std::numeric_limits<std::size_t>::max)();
}

void setNonBlocking(std::intptr_t socket) noexcept {
    u_long on = 1;
    ::ioctlsocket(static_cast<SOCKET>(socket), FIONBIO, &on);
}

void sendAtOnce(std::intptr_t socket) noexcept {
    const BOOL on = TRUE;
    ::setsockopt(static_cast<SOCKET>(socket), IPPROTO_TCP, TCP_NODELAY,
                 reinterpret_cast<const char*>(&on), sizeof(on));
}

int segmentFlags(bool /*moreFollows*/) noexcept {
    return 0;
}

bool isReadable(std::intptr_t socket, std::chrono::milliseconds timeout) noexcept {
    return isReadyFor(POLLRDNORM, socket, timeout);
}

bool isWritable(std::intptr_t socket, std::chrono::milliseconds timeout) noexcept {
    return isReadyFor(POLLWRNORM, socket, timeout);
}

std::ptrdiff_t receiveBytes(std::intptr_t socket, std::span<char> target) noexcept {
    return ::recv(static_cast<SOCKET>(socket), target.data(), countOf(target.size()), 0);
}

std::ptrdiff_t sendBytes(std::intptr_t socket, std::span<const char> bytes) noexcept {
    return ::send(static_cast<SOCKET>(socket), bytes.data(), countOf(bytes.size()), 0);
}

bool wouldHaveWaited() noexcept {
    return ::WSAGetLastError() == WSAEWOULDBLOCK;
}

std::error_code lastSocketError() noexcept {
    return {::WSAGetLastError(), std::system_category()};
}

bool watchersWakeForEveryArrival() noexcept {
    return false;
}

void stopReading(std::intptr_t /*socket*/) noexcept {}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_SEND);
}

void shutDown(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_BOTH);
}

void closeSocket(std::intptr_t socket) noexcept {
    shutDown(socket);
    ::closesocket(static_cast<SOCKET>(socket));
}

void resetSocket(std::intptr_t socket) noexcept {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_LINGER,
                 reinterpret_cast<const char*>(&atOnce), sizeof(atOnce));
    ::closesocket(static_cast<SOCKET>(socket));
}

bool isPeerConnected(std::intptr_t socket) noexcept {
    char byte = 0;
    return !isReadable(socket, {}) || ::recv(static_cast<SOCKET>(socket), &byte, 1, MSG_PEEK) > 0;
}

SocketAddress peerAddress(std::intptr_t socket) {
    return addressOf(socket, ::getpeername);
}

SocketAddress ownAddress(std::intptr_t socket) {
    return addressOf(socket, ::getsockname);
}

} // namespace Quarlen::Platform

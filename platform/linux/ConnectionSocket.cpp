#include "platform/ConnectionSocket.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <limits>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Quarlen::Platform {

namespace {

bool isReadyFor(short events, std::intptr_t socket, std::chrono::milliseconds timeout) noexcept {
    pollfd entry{.fd = static_cast<int>(socket), .events = events, .revents = 0};
    int result = 0;
    do {
        result = ::poll(&entry, 1, static_cast<int>(timeout.count()));
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

/// Repeats a call that a signal has interrupted before it did anything.
template <class Call>
std::ptrdiff_t untilNotInterrupted(Call call) noexcept {
    std::ptrdiff_t result = 0;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

using AddressOf = int (*)(int, sockaddr*, socklen_t*);

SocketAddress addressOf(std::intptr_t socket, AddressOf function) {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> service{};
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (function(static_cast<int>(socket), generic, &length) != 0 ||
        ::getnameinfo(generic, length, host.data(), host.size(), service.data(), service.size(),
                      NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return {};
    }
    SocketAddress result{.host = host.data()};
    const std::string_view digits = service.data();
    std::from_chars(digits.data(), digits.data() + digits.size(), result.port);
    return result;
}

} // namespace

std::size_t socketLimit() noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return std::numeric_limits<std::size_t>::max();
    }
    return limit.rlim_cur;
}

void setNonBlocking(std::intptr_t socket) noexcept {
    int on = 1;
    ::ioctl(static_cast<int>(socket), FIONBIO, &on);
}

void sendAtOnce(std::intptr_t socket) noexcept {
    const int on = 1;
    ::setsockopt(static_cast<int>(socket), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

int segmentFlags(bool moreFollows) noexcept {
    return MSG_EOR | (moreFollows ? MSG_MORE : 0);
}

bool isReadable(std::intptr_t socket, std::chrono::milliseconds timeout) noexcept {
    return isReadyFor(POLLIN, socket, timeout);
}

bool isWritable(std::intptr_t socket, std::chrono::milliseconds timeout) noexcept {
    return isReadyFor(POLLOUT, socket, timeout);
}

std::ptrdiff_t receiveBytes(std::intptr_t socket, std::span<char> target) noexcept {
    return untilNotInterrupted(
        [&] { return ::recv(static_cast<int>(socket), target.data(), target.size(), 0); });
}

std::ptrdiff_t sendBytes(std::intptr_t socket, std::span<const char> bytes) noexcept {
    return untilNotInterrupted(
        [&] { return ::send(static_cast<int>(socket), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
}

bool wouldHaveWaited() noexcept {
    return errno == EAGAIN;
}

std::error_code lastSocketError() noexcept {
    return {errno, std::system_category()};
}

bool watchersWakeForEveryArrival() noexcept {
    return true;
}

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_RD);
}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_WR);
}

void shutDown(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_RDWR);
}

void closeSocket(std::intptr_t socket) noexcept {
    shutDown(socket);
    ::close(static_cast<int>(socket));
}

void resetSocket(std::intptr_t socket) noexcept {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
    ::close(static_cast<int>(socket));
}

bool isPeerConnected(std::intptr_t socket) noexcept {
    char byte = 0;
    return !isReadable(socket, {}) || ::recv(static_cast<int>(socket), &byte, 1, MSG_PEEK) > 0;
}

SocketAddress peerAddress(std::intptr_t socket) {
    return addressOf(socket, ::getpeername);
}

SocketAddress ownAddress(std::intptr_t socket) {
    return addressOf(socket, ::getsockname);
}

} // namespace Quarlen::Platform

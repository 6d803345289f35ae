#include "tests/support/TestSocket.hpp"

#include <algorithm>
#include <system_error>
#include <utility>

// The socket headers must come in this order.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
// clang-format on

namespace Quarlen::Tests {

namespace {

constexpr std::size_t maxPartSize = 1024 * 1024;

int checked(int result, const char* operation) {
    if (result == SOCKET_ERROR) {
        throw std::system_error(::WSAGetLastError(), std::system_category(), operation);
    }
    return result;
}

SOCKET system(std::intptr_t handle) {
    return static_cast<SOCKET>(handle);
}

SOCKET openSocket() {
    // The socket library stays until the process ends.
    static const bool started = [] {
        WSADATA data{};
        return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    const SOCKET opened = started ? ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                                                 WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT)
                                  : INVALID_SOCKET;
    checked(opened == INVALID_SOCKET ? SOCKET_ERROR : 0, "socket");
    return opened;
}

} // namespace

TestSocket::TestSocket() : handle(static_cast<std::intptr_t>(openSocket())) {}

TestSocket::TestSocket(TestSocket&& other) noexcept : handle(std::exchange(other.handle, -1)) {}

TestSocket::~TestSocket() {
    if (handle != -1) {
        ::closesocket(system(handle));
    }
}

void TestSocket::connect(const std::string& address, std::uint16_t port) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &target.sin_addr);
    checked(::connect(system(handle), reinterpret_cast<const sockaddr*>(&target), sizeof target),
            ("connect " + address).c_str());
}

void TestSocket::bindToLoopback() {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    checked(::bind(system(handle), reinterpret_cast<const sockaddr*>(&own), sizeof own), "bind");
}

// There, who shares an address takes it from those who listen.
bool TestSocket::shareItsPort() {
    return false;
}

void TestSocket::listen() {
    checked(::listen(system(handle), 1), "listen");
}

std::uint16_t TestSocket::port() const {
    sockaddr_in own{};
    int size = sizeof own;
    checked(::getsockname(system(handle), reinterpret_cast<sockaddr*>(&own), &size), "getsockname");
    return ntohs(own.sin_port);
}

bool TestSocket::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto part = static_cast<int>(std::min(bytes.size(), maxPartSize));
        const int sent = ::send(system(handle), bytes.data(), part, 0);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::size_t TestSocket::receive(char* target, std::size_t size) {
    const int count =
        ::recv(system(handle), target, static_cast<int>(std::min(size, maxPartSize)), 0);
    return static_cast<std::size_t>(std::max(count, 0));
}

void TestSocket::stopSending() {
    ::shutdown(system(handle), SD_SEND);
}

/// SO_ERROR tells nothing of it here, and reading only of the end that came before. Sending no
/// bytes sends nothing and gives the error.
bool TestSocket::wasReset() const {
    if (::send(system(handle), "", 0, 0) != SOCKET_ERROR) {
        return false;
    }
    const int error = ::WSAGetLastError();
    return error == WSAECONNRESET || error == WSAECONNABORTED;
}

bool TestSocket::waitForData(std::chrono::milliseconds deadline) const {
    WSAPOLLFD waiting{};
    waiting.fd = system(handle);
    waiting.events = POLLRDNORM;
    return ::WSAPoll(&waiting, 1, static_cast<int>(deadline.count())) > 0;
}

void allowConnections(std::size_t /*count*/) {}

void limitSendBuffer(std::intptr_t connection) {
    const int size = 16 * 1024;
    ::setsockopt(system(connection), SOL_SOCKET, SO_SNDBUF, reinterpret_cast<const char*>(&size),
                 sizeof size);
}

} // namespace Quarlen::Tests

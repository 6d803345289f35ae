#include "tests/support/TestSocket.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Quarlen::Tests {

namespace {

int checked(int result, const char* operation) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
    return result;
}

int descriptor(std::intptr_t handle) {
    return static_cast<int>(handle);
}

} // namespace

TestSocket::TestSocket()
    : handle(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {}

TestSocket::TestSocket(TestSocket&& other) noexcept : handle(std::exchange(other.handle, -1)) {}

TestSocket::~TestSocket() {
    if (handle >= 0) {
        ::close(descriptor(handle));
    }
}

void TestSocket::connect(const std::string& address, std::uint16_t port) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &target.sin_addr);
    checked(
        ::connect(descriptor(handle), reinterpret_cast<const sockaddr*>(&target), sizeof target),
        ("connect " + address).c_str());
}

void TestSocket::bindToLoopback() {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    checked(::bind(descriptor(handle), reinterpret_cast<const sockaddr*>(&own), sizeof own),
            "bind");
}

bool TestSocket::shareItsPort() {
    const int on = 1;
    checked(::setsockopt(descriptor(handle), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on),
            "SO_REUSEADDR");
    return true;
}

void TestSocket::listen() {
    checked(::listen(descriptor(handle), 1), "listen");
}

std::uint16_t TestSocket::port() const {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    checked(::getsockname(descriptor(handle), reinterpret_cast<sockaddr*>(&own), &size),
            "getsockname");
    return ntohs(own.sin_port);
}

bool TestSocket::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = ::send(descriptor(handle), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::size_t TestSocket::receive(char* target, std::size_t size) {
    const auto count = ::recv(descriptor(handle), target, size, 0);
    return static_cast<std::size_t>(std::max<ssize_t>(count, 0));
}

void TestSocket::stopSending() {
    ::shutdown(descriptor(handle), SHUT_WR);
}

bool TestSocket::wasReset() const {
    int error = 0;
    socklen_t size = sizeof error;
    checked(::getsockopt(descriptor(handle), SOL_SOCKET, SO_ERROR, &error, &size), "SO_ERROR");
    return error != 0;
}

bool TestSocket::waitForData(std::chrono::milliseconds deadline) const {
    pollfd waiting{.fd = descriptor(handle), .events = POLLIN, .revents = 0};
    return ::poll(&waiting, 1, static_cast<int>(deadline.count())) > 0;
}

void allowConnections(std::size_t count) {
    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::max(files.rlim_cur, std::min<rlim_t>(files.rlim_max, 4 * count));
    ::setrlimit(RLIMIT_NOFILE, &files);
}

void limitSendBuffer(std::intptr_t connection) {
    const int size = 16 * 1024;
    ::setsockopt(descriptor(connection), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

} // namespace Quarlen::Tests

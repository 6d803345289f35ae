#include "tests/support/RawClient.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Quarlen::Tests {

namespace {

using Clock = std::chrono::steady_clock;

int connected(std::uint16_t port, const std::string& host) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    if (socket < 0 ||
        ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        ::close(socket);
        throw std::system_error(error, std::generic_category(), "connect " + host);
    }
    return socket;
}

/// Length of the first whole reply; `npos` while it is not complete.
std::size_t replyLength(const std::string& received) {
    const std::size_t headerEnd = received.find("\r\n\r\n");
    if (headerEnd == std::string::npos) {
        return std::string::npos;
    }
    constexpr std::string_view name = "Content-Length: ";
    const std::size_t at = received.find(name);
    const std::size_t body = at < headerEnd ? std::stoul(received.substr(at + name.size(), 20)) : 0;
    const std::size_t whole = headerEnd + 4 + body;
    return received.size() < whole ? std::string::npos : whole;
}

} // namespace

RawClient::RawClient(std::uint16_t port, const std::string& address)
    : socket(connected(port, address)) {}

RawClient::RawClient(RawClient&& other) noexcept
    : socket(std::exchange(other.socket, -1)),
      ended(other.ended),
      received(std::move(other.received)) {}

RawClient::~RawClient() {
    if (socket >= 0) {
        ::close(socket);
    }
}

bool RawClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool RawClient::receiveMore(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
    pollfd waiting{.fd = socket, .events = POLLIN, .revents = 0};
    if (ended ||
        ::poll(&waiting, 1, static_cast<int>(std::max(left.count(), std::int64_t{0}))) <= 0) {
        return false;
    }
    std::array<char, 65536> part{};
    const auto count = ::recv(socket, part.data(), part.size(), 0);
    ended = count <= 0;
    received.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return !ended;
}

std::string RawClient::receiveReply(Milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    while (replyLength(received) == std::string::npos && receiveMore(end)) {
    }
    const std::size_t length = std::min(replyLength(received), received.size());
    std::string reply = received.substr(0, length);
    received.erase(0, length);
    return reply;
}

bool RawClient::waitForData(Milliseconds deadline) const {
    pollfd waiting{.fd = socket, .events = POLLIN, .revents = 0};
    return ::poll(&waiting, 1, static_cast<int>(deadline.count())) > 0;
}

bool RawClient::waitForClose(Milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    while (receiveMore(end)) {
        received.clear();
    }
    return ended;
}

} // namespace Quarlen::Tests

#include "tests/support/RawClient.hpp"

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

namespace Quarlen::Tests {

namespace {

using Clock = std::chrono::steady_clock;

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

RawClient::RawClient(std::uint16_t port, const std::string& address) {
    socket.connect(address, port);
}

bool RawClient::send(std::string_view bytes) {
    return socket.send(bytes);
}

bool RawClient::receiveMore(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
    if (ended || !socket.waitForData(std::max(left, Milliseconds::zero()))) {
        return false;
    }
    std::array<char, 65536> part{};
    const std::size_t count = socket.receive(part.data(), part.size());
    ended = count == 0;
    received.append(part.data(), count);
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
    return socket.waitForData(deadline);
}

bool RawClient::waitForReset(Milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    for (;;) {
        if (socket.wasReset()) {
            return true;
        }
        if (Clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(Milliseconds(5));
    }
}

bool RawClient::waitForClose(Milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    while (receiveMore(end)) {
        received.clear();
    }
    return ended;
}

} // namespace Quarlen::Tests

#include "kel_cpp/network/SovdStream.hpp"

#include <algorithm>
#include <utility>

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// For the first byte of a request: a client that says nothing does not keep its worker.
constexpr std::chrono::seconds silentTime{1};
/// From a request's first byte to its last, and for the client to take each part of the reply.
constexpr std::chrono::seconds requestTime{5};
/// How long a client is waited for once the server stops.
constexpr std::chrono::milliseconds sovdGrace{500};
constexpr std::chrono::milliseconds waitStep{100};

} // namespace

SovdStream::SovdStream(std::intptr_t connection, const std::atomic<bool>& stopping)
    : connection(connection), stopping(stopping), requestStart(SteadyClock::now()), buffer() {
    // All waiting is done by `waitUntil`, which checks the time limits and the stop.
    Platform::setNonBlocking(connection);
}

bool SovdStream::waitForRequest() {
    const bool hasCome = waitUntil(SteadyClock::now() + silentTime, Platform::isReadable);
    requestStart = SteadyClock::now();
    return hasCome;
}

bool SovdStream::waitUntil(Time deadline, ReadyWithin readyWithin) const {
    using std::chrono::milliseconds;
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - SteadyClock::now());
        if (left <= milliseconds::zero()) {
            return false;
        }
        if (readyWithin(connection, std::min(left, waitStep))) {
            return true;
        }
        if (stopping) {
            return false;
        }
    }
}

bool SovdStream::waitForClient(std::chrono::milliseconds timeout) {
    const Time begin = SteadyClock::now();
    for (;;) {
        const auto time = stopping ? std::min(timeout, sovdGrace) : timeout;
        if (SteadyClock::now() - begin >= time) {
            return false;
        }
        if (Platform::isReadable(connection, waitStep) &&
            Platform::receiveBytes(connection, buffer) <= 0) {
            return true;
        }
    }
}

bool SovdStream::wait_readable() const {
    return is_readable() || waitUntil(requestStart + requestTime, Platform::isReadable);
}

bool SovdStream::wait_writable() const {
    return waitUntil(SteadyClock::now() + requestTime, Platform::isWritable);
}

ssize_t SovdStream::read(char* target, size_t size) {
    if (!is_readable()) {
        if (!wait_readable()) {
            error_ = httplib::Error::Timeout;
            return -1;
        }
        const ssize_t count = Platform::receiveBytes(connection, buffer);
        if (count <= 0) {
            error_ = count == 0 ? httplib::Error::ConnectionClosed : httplib::Error::Read;
            return count;
        }
        next = 0;
        end = static_cast<std::size_t>(count);
    }
    const std::size_t count = std::min(size, end - next);
    std::copy_n(buffer.data() + next, count, target);
    next += count;
    return static_cast<ssize_t>(count);
}

ssize_t SovdStream::write(const char* bytes, size_t size) {
    for (;;) {
        const ssize_t count = Platform::sendBytes(connection, {bytes, size});
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        if (count >= 0 || !Platform::wouldHaveWaited() || !wait_writable()) {
            return count;
        }
    }
}

void SovdStream::get_remote_ip_and_port(std::string& address, int& port) const {
    Platform::SocketAddress peer = Platform::peerAddress(connection);
    address = std::move(peer.host);
    port = peer.port;
}

void SovdStream::get_local_ip_and_port(std::string& address, int& port) const {
    Platform::SocketAddress own = Platform::ownAddress(connection);
    address = std::move(own.host);
    port = own.port;
}

time_t SovdStream::duration() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - requestStart)
        .count();
}

} // namespace Quarlen::Kel_cpp

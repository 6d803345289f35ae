#include "http_stream/SocketStream.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Http {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How often a waiting connection checks whether the server stops. A stop also wakes the connection
/// through its socket; the check is for systems where that does not end a wait that has begun.
constexpr milliseconds maxWait{200};

/// How long a client that sends without an end or takes its reply slowly is still served once the
/// server stops.
constexpr milliseconds shutdownGrace{500};

/// The most bytes of one send. A system that has room for one byte may buffer any number of them; a
/// large reply must not be buffered there as a whole.
constexpr std::size_t maxPieceSize = std::size_t{64} * 1024;

} // namespace

SocketStream::SocketStream(std::intptr_t connection, Ends ends, TimeLimits limits)
    : connection(connection),
      ends(std::move(ends)),
      limits(limits),
      requestStart(steady_clock::now()),
      buffer() {
    // All waiting is done by `waitUntil`, which checks the time limits and the stop.
    Platform::setNonBlocking(connection);
}

bool SocketStream::waitForRequest(milliseconds idleTime) {
    if (!hasBytes()) {
        hasArrived = waitUntil(steady_clock::now() + idleTime, Platform::isReadable);
        if (!hasArrived) {
            return false;
        }
    }
    requestStart = steady_clock::now();
    written = 0;
    beginRequest();
    ready = next;
    makeReady();
    return true;
}

bool SocketStream::waitUntil(Time deadline, ReadyWithin readyWithin) const {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        if (left <= milliseconds::zero()) {
            return false;
        }
        if (readyWithin(connection, std::min(left, maxWait))) {
            return true;
        }
        if (ends.serverStops() || ends.makesRoom()) {
            return false;
        }
    }
}

bool SocketStream::is_readable() const {
    return !ignoresInput && next < ready;
}

bool SocketStream::wait_readable() const {
    if (ignoresInput) {
        return false;
    }
    return is_readable() || waitUntil(requestStart + limits.request, Platform::isReadable);
}

bool SocketStream::wait_writable() const {
    return waitUntil(steady_clock::now() + limits.write, Platform::isWritable);
}

bool SocketStream::is_peer_alive() const {
    return Platform::isPeerConnected(connection);
}

ssize_t SocketStream::refill() {
    const Time deadline = beforeTheEnd(requestStart + limits.request);
    const bool isThere = std::exchange(hasArrived, false) ||
                         (!ignoresInput && waitUntil(deadline, Platform::isReadable));
    if (!isThere) {
        error_ = httplib::Error::Timeout;
        return -1;
    }
    end = static_cast<std::size_t>(
        std::copy(buffer.begin() + next, buffer.begin() + end, buffer.begin()) - buffer.begin());
    next = 0;
    ready = 0;
    const ssize_t count = Platform::receiveBytes(connection, std::span(buffer).subspan(end));
    if (count == 0 && hasBytes()) {
        // The connection has ended: the rest of the line will not come.
        ready = end;
        return static_cast<ssize_t>(end);
    }
    if (count <= 0) {
        error_ = count == 0 ? httplib::Error::ConnectionClosed : httplib::Error::Read;
        return count;
    }
    end += static_cast<std::size_t>(count);
    makeReady();
    return count;
}

std::size_t SocketStream::letThrough(std::span<char> bytes, bool /*room*/) {
    return bytes.size();
}

void SocketStream::makeReady() {
    const bool isFull = next == 0 && end == buffer.size();
    ready += letThrough(std::span(buffer).subspan(ready, end - ready), !isFull);
}

bool SocketStream::waitForClient(milliseconds timeout) {
    const Time deadline = steady_clock::now() + timeout;
    while (!ends.makesRoom()) {
        const auto left =
            std::chrono::ceil<milliseconds>(beforeTheEnd(deadline) - steady_clock::now());
        if (left <= milliseconds::zero()) {
            return false;
        }
        if (Platform::isReadable(connection, std::min(left, maxWait)) &&
            Platform::receiveBytes(connection, buffer) <= 0) {
            break;
        }
    }
    return true;
}

ssize_t SocketStream::read(char* target, size_t size) {
    while (!is_readable()) {
        if (const ssize_t count = refill(); count <= 0) {
            return count;
        }
    }
    const std::size_t count = std::min(size, ready - next);
    std::copy_n(buffer.data() + next, count, target);
    next += count;
    return static_cast<ssize_t>(count);
}

ssize_t SocketStream::write(const char* bytes, size_t size) {
    const Time now = steady_clock::now();
    const Time deadline = beforeTheEnd(now + limits.write);
    if (deadline <= now) {
        return -1;
    }
    // The system nearly always has room: asking first would cost one more system call for each
    // reply.
    for (;;) {
        const ssize_t count =
            Platform::sendBytes(connection, {bytes, std::min(size, maxPieceSize)});
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        if (count >= 0 || !Platform::wouldHaveWaited()) {
            return count;
        }
        if (!waitUntil(deadline, Platform::isWritable)) {
            return -1;
        }
    }
}

SocketStream::Time SocketStream::beforeTheEnd(Time deadline) {
    if (!ends.serverStops()) {
        return deadline;
    }
    theEnd = theEnd.value_or(steady_clock::now() + shutdownGrace);
    return std::min(deadline, *theEnd);
}

void SocketStream::get_remote_ip_and_port(std::string& address, int& port) const {
    Platform::SocketAddress peer = Platform::peerAddress(connection);
    address = std::move(peer.host);
    port = peer.port;
}

void SocketStream::get_local_ip_and_port(std::string& address, int& port) const {
    Platform::SocketAddress own = Platform::ownAddress(connection);
    address = std::move(own.host);
    port = own.port;
}

time_t SocketStream::duration() const {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - requestStart).count();
}

} // namespace Quarlen::Http

#include "kel_server_lib/http/ConnectionStream.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Rest {

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

ConnectionStream::ConnectionStream(std::intptr_t connection, const Connections::Entry& entry,
                                   TimeLimits limits)
    : connection(connection),
      entry(entry),
      limits(limits),
      requestStart(steady_clock::now()),
      buffer() {
    // All waiting is done by `waitUntil`, which checks the time limits and the stop.
    Platform::setNonBlocking(connection);
}

bool ConnectionStream::waitForRequest(milliseconds idleTime) {
    if (!hasBytes()) {
        hasArrived = waitUntil(steady_clock::now() + idleTime, Platform::isReadable);
        if (!hasArrived) {
            return false;
        }
    }
    requestStart = steady_clock::now();
    written = 0;
    filter.beginRequest();
    ready = next;
    letPass();
    return true;
}

bool ConnectionStream::waitUntil(Time deadline, ReadyWithin readyWithin) const {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
        if (left <= milliseconds::zero()) {
            return false;
        }
        if (readyWithin(connection, std::min(left, maxWait))) {
            return true;
        }
        if (entry.serverStops() || entry.hasToEnd()) {
            return false;
        }
    }
}

bool ConnectionStream::is_readable() const {
    return !ignoresInput && next < ready;
}

bool ConnectionStream::wait_readable() const {
    if (ignoresInput) {
        return false;
    }
    return is_readable() || waitUntil(requestStart + limits.request, Platform::isReadable);
}

bool ConnectionStream::wait_writable() const {
    return waitUntil(steady_clock::now() + limits.write, Platform::isWritable);
}

bool ConnectionStream::is_peer_alive() const {
    return Platform::isPeerConnected(connection);
}

ssize_t ConnectionStream::refill() {
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
    const ssize_t count = receive(std::span(buffer).subspan(end));
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
    letPass();
    return count;
}

void ConnectionStream::letPass() {
    const bool isFull = next == 0 && end == buffer.size();
    ready += filter.pass(std::span(buffer).subspan(ready, end - ready), !isFull);
}

ssize_t ConnectionStream::receive(std::span<char> target) const {
    return Platform::receiveBytes(connection, target);
}

bool ConnectionStream::waitForClient(milliseconds timeout) {
    const Time deadline = steady_clock::now() + timeout;
    while (!entry.hasToEnd()) {
        const auto left =
            std::chrono::ceil<milliseconds>(beforeTheEnd(deadline) - steady_clock::now());
        if (left <= milliseconds::zero()) {
            return false;
        }
        if (Platform::isReadable(connection, std::min(left, maxWait)) && receive(buffer) <= 0) {
            break;
        }
    }
    return true;
}

ssize_t ConnectionStream::read(char* target, size_t size) {
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

ssize_t ConnectionStream::write(const char* bytes, size_t size) {
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

ConnectionStream::Time ConnectionStream::beforeTheEnd(Time deadline) {
    if (!entry.serverStops()) {
        return deadline;
    }
    theEnd = theEnd.value_or(steady_clock::now() + shutdownGrace);
    return std::min(deadline, *theEnd);
}

void ConnectionStream::get_remote_ip_and_port(std::string& address, int& port) const {
    Platform::SocketAddress peer = Platform::peerAddress(connection);
    address = std::move(peer.host);
    port = peer.port;
}

void ConnectionStream::get_local_ip_and_port(std::string& address, int& port) const {
    Platform::SocketAddress own = Platform::ownAddress(connection);
    address = std::move(own.host);
    port = own.port;
}

time_t ConnectionStream::duration() const {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - requestStart).count();
}

} // namespace Quarlen::Rest

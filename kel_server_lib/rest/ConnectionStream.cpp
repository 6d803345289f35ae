#include "kel_server_lib/rest/ConnectionStream.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "kel_server_lib/rest/HttplibInternals.hpp"
#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Rest {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How often a waiting connection looks whether the server stops. A stop also wakes it through its
/// socket; this is for systems where that does not end a wait that has begun.
constexpr milliseconds longestWait{500};

/// What a client that sends without an end or takes its reply slowly gets once the server stops.
constexpr milliseconds lastGrace{500};

/// A system that has room for a byte may take any number of them; its memory is not the place for
/// all of a large reply.
constexpr std::size_t longestPiece = std::size_t{64} * 1024;

bool readableWithin(socket_t connection, milliseconds time) {
    return httplib::detail::select_read(connection, 0, std::chrono::microseconds(time).count()) > 0;
}

bool writableWithin(socket_t connection, milliseconds time) {
    return httplib::detail::select_write(connection, 0, std::chrono::microseconds(time).count()) >
           0;
}

} // namespace

ConnectionStream::ConnectionStream(socket_t connection, const Connections::Entry& entry,
                                   TimeLimits limits)
    : connection(connection),
      entry(entry),
      limits(limits),
      requestStart(steady_clock::now()),
      buffer() {
    // Every wait is one of this class, which looks at its limits and at the stop.
    Platform::neverWait(static_cast<std::intptr_t>(connection));
}

bool ConnectionStream::waitForRequest(milliseconds idleTime) {
    if (!hasBytes()) {
        hasArrived = waitUntil(steady_clock::now() + idleTime, readableWithin);
        if (!hasArrived) {
            return false;
        }
    }
    requestStart = steady_clock::now();
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
        if (readyWithin(connection, std::min(left, longestWait))) {
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
    return is_readable() || waitUntil(requestStart + limits.request, readableWithin);
}

bool ConnectionStream::wait_writable() const {
    return waitUntil(steady_clock::now() + limits.write, writableWithin);
}

bool ConnectionStream::is_peer_alive() const {
    return httplib::detail::is_socket_alive(connection);
}

ssize_t ConnectionStream::refill() {
    const Time deadline = beforeTheEnd(requestStart + limits.request);
    const bool isThere =
        std::exchange(hasArrived, false) || (!ignoresInput && waitUntil(deadline, readableWithin));
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
        // The rest of the line will not come.
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
    return httplib::detail::read_socket(connection, target.data(), target.size(),
                                        CPPHTTPLIB_RECV_FLAGS);
}

void ConnectionStream::discardInput(milliseconds longest) {
    const Time deadline = steady_clock::now() + longest;
    while (waitUntil(beforeTheEnd(deadline), readableWithin) && receive(buffer) > 0) {
    }
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
    // There is nearly always room: asking first would be a system call more for each reply.
    for (;;) {
        const ssize_t count = httplib::detail::send_socket(
            connection, bytes, std::min(size, longestPiece), CPPHTTPLIB_SEND_FLAGS);
        if (count >= 0 || !Platform::wouldHaveWaited()) {
            return count;
        }
        if (!waitUntil(deadline, writableWithin)) {
            return -1;
        }
    }
}

ConnectionStream::Time ConnectionStream::beforeTheEnd(Time deadline) {
    if (!entry.serverStops()) {
        return deadline;
    }
    theEnd = theEnd.value_or(steady_clock::now() + lastGrace);
    return std::min(deadline, *theEnd);
}

void ConnectionStream::get_remote_ip_and_port(std::string& address, int& port) const {
    httplib::detail::get_remote_ip_and_port(connection, address, port);
}

void ConnectionStream::get_local_ip_and_port(std::string& address, int& port) const {
    httplib::detail::get_local_ip_and_port(connection, address, port);
}

time_t ConnectionStream::duration() const {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - requestStart).count();
}

} // namespace Quarlen::Rest

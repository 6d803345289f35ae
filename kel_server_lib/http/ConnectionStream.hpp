#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <httplib.h>

#include "kel_server_lib/http/Connections.hpp"
#include "kel_server_lib/http/RangeFilter.hpp"

namespace Quarlen::Rest {

/// The bytes of one connection, from the first request to the last. What a client sends ahead stays
/// for its next request. All bytes of a request share one time limit, so that a client cannot hold
/// its worker by sending a byte now and then.
class ConnectionStream final : public httplib::Stream {
public:
    struct TimeLimits {
        /// From a request's first byte to its last.
        std::chrono::milliseconds request;
        /// For the client to take each part of a reply.
        std::chrono::milliseconds write;
    };

    /// The caller keeps owning the socket and its entry. Once the server stops, the stream waits
    /// neither for bytes nor for the client to take any, and soon ends a client that keeps it busy.
    /// It does not wait either once the connection has to make room.
    ConnectionStream(std::intptr_t connection, const Connections::Entry& entry, TimeLimits limits);

    /// Waits for the first byte of the next request and starts its time limit. False when nothing
    /// came within `idleTime`, or the server stops.
    bool waitForRequest(std::chrono::milliseconds idleTime);
    /// Call it when the last reply is about to be written: nothing is read any more.
    void ignoreFurtherInput() { ignoresInput = true; }
    [[nodiscard]] bool ignoresFurtherInput() const { return ignoresInput; }
    /// Bytes of the present reply so far, or of the last one.
    [[nodiscard]] std::size_t replySize() const { return written; }
    /// Drops what still arrives and waits for the client to end its side. False when the time is
    /// over before, or the grace period of a stop.
    bool waitForClient(std::chrono::milliseconds timeout);

    [[nodiscard]] bool is_readable() const override;
    [[nodiscard]] bool wait_readable() const override;
    [[nodiscard]] bool wait_writable() const override;
    [[nodiscard]] bool is_peer_alive() const override;
    ssize_t read(char* target, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& address, int& port) const override;
    void get_local_ip_and_port(std::string& address, int& port) const override;
    [[nodiscard]] socket_t socket() const override { return static_cast<socket_t>(connection); }
    /// Milliseconds since the request's first byte.
    [[nodiscard]] time_t duration() const override;

private:
    using Time = std::chrono::steady_clock::time_point;

    using ReadyWithin = bool (*)(std::intptr_t, std::chrono::milliseconds);

    [[nodiscard]] bool hasBytes() const { return next < end; }
    [[nodiscard]] bool waitUntil(Time deadline, ReadyWithin readyWithin) const;
    /// A stop shortens the deadline: all that is left to read and to write then shares one last
    /// grace period.
    Time beforeTheEnd(Time deadline);
    // `refill` and `receive` give zero at the end of the connection and a negative number at an
    // error.

    /// Receives bytes and makes them ready to be read, unless they are part of a line whose end is
    /// missing still.
    ssize_t refill();
    ssize_t receive(std::span<char> target) const;
    void letPass();

    const std::intptr_t connection;
    const Connections::Entry& entry;
    const TimeLimits limits;
    Time requestStart;
    /// Set by the first use during a stop.
    std::optional<Time> theEnd;
    bool ignoresInput = false;
    std::size_t written = 0;
    /// The wait for a request has seen its first bytes, and they have not been received yet.
    bool hasArrived = false;
    RangeFilter filter;
    /// The bytes from `next` to `ready` may be read; the filter needs more bytes to decide on those
    /// from `ready` to `end`.
    std::array<char, 4096> buffer;
    std::size_t next = 0;
    std::size_t ready = 0;
    std::size_t end = 0;
};

} // namespace Quarlen::Rest

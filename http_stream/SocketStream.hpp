#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include <httplib.h>

namespace Quarlen::Http {

/// The bytes of one connection of a server, from the first request to the last. What a client sends
/// ahead stays for its next request. All bytes of a request share one time limit, so that a client
/// cannot hold its worker by sending a byte now and then. One thread uses it.
class SocketStream : public httplib::Stream {
public:
    struct TimeLimits {
        /// From a request's first byte to its last.
        std::chrono::milliseconds request;
        /// For the client to take each part of a reply.
        std::chrono::milliseconds write;
    };

    /// What ends waits early. Asked again and again meanwhile, so that any thread may decide it.
    struct Ends {
        /// The stream then waits neither for bytes nor for the client to take any, and soon ends a
        /// client that keeps it busy.
        std::function<bool()> serverStops;
        /// The connection has to make room for another one: nothing is waited for.
        std::function<bool()> makesRoom = [] { return false; };
    };

    /// The caller keeps owning the socket.
    SocketStream(std::intptr_t connection, Ends ends, TimeLimits limits);

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

    /// The next byte that is let through is the first one of a request.
    virtual void beginRequest() {}
    /// How many of the bytes may be read, from the first; it may change them. The others are given
    /// again with more bytes behind them, for which there is `room` or not.
    virtual std::size_t letThrough(std::span<char> bytes, bool room);

    [[nodiscard]] bool hasBytes() const { return next < end; }
    [[nodiscard]] bool waitUntil(Time deadline, ReadyWithin readyWithin) const;
    /// A stop shortens the deadline: all that is left to read and to write then shares one last
    /// grace period.
    Time beforeTheEnd(Time deadline);
    /// Receives bytes and makes them ready to be read, unless more have to come first. Zero at the
    /// end of the connection, a negative number at an error.
    ssize_t refill();
    void makeReady();

    const std::intptr_t connection;
    const Ends ends;
    const TimeLimits limits;
    Time requestStart;
    /// Set by the first use during a stop.
    std::optional<Time> theEnd;
    bool ignoresInput = false;
    std::size_t written = 0;
    /// The wait for a request has seen its first bytes, and they have not been received yet.
    bool hasArrived = false;
    /// The bytes from `next` to `ready` may be read; those from `ready` to `end` not yet.
    std::array<char, 4096> buffer;
    std::size_t next = 0;
    std::size_t ready = 0;
    std::size_t end = 0;
};

} // namespace Quarlen::Http

#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include <httplib.h>

namespace Quarlen::Kel_cpp {

/// The bytes of one connection of the SOVD server: one request, one reply. Once the server stops,
/// it waits neither for bytes nor for the client to take any.
class SovdStream final : public httplib::Stream {
public:
    /// The caller keeps owning the connection.
    SovdStream(std::intptr_t connection, const std::atomic<bool>& stopping);

    /// Waits for the first byte of the request and starts its time limit. False when none came.
    bool waitForRequest();

    /// Bytes of the reply so far.
    [[nodiscard]] std::size_t replySize() const { return written; }
    /// Drops what still arrives and waits for the client to end its side. False when the time is
    /// over before, or the grace period of a stop.
    bool waitForClient(std::chrono::milliseconds timeout);

    [[nodiscard]] bool is_readable() const override { return next < end; }
    [[nodiscard]] bool wait_readable() const override;
    [[nodiscard]] bool wait_writable() const override;
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

    [[nodiscard]] bool waitUntil(Time deadline, ReadyWithin readyWithin) const;

    const std::intptr_t connection;
    const std::atomic<bool>& stopping;
    Time requestStart;
    std::array<char, 4096> buffer;
    std::size_t next = 0;
    std::size_t end = 0;
    std::size_t written = 0;
};

} // namespace Quarlen::Kel_cpp

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/TestSocket.hpp"

namespace Quarlen::Tests {

/// A TCP client that says what it is told to, byte for byte: for what no HTTP library would send.
class RawClient {
public:
    using Milliseconds = std::chrono::milliseconds;
    /// Ends a wait for what does not come. Long enough for a busy machine and a build with
    /// sanitizers.
    static constexpr Milliseconds patience{100'000};

    /// Throws `std::system_error` when nobody answers.
    explicit RawClient(std::uint16_t port, const std::string& address = "127.0.0.1");

    /// False when the other side does not take it any more.
    bool send(std::string_view bytes);
    /// One HTTP reply, headers and body; what came of it until the other side closed or fell silent
    /// otherwise.
    std::string receiveReply(Milliseconds deadline = patience);
    /// True when something has arrived; leaves it where it is.
    [[nodiscard]] bool waitForData(Milliseconds deadline = patience) const;
    /// True when the other side ends the connection in time; what it sends before is dropped.
    bool waitForClose(Milliseconds deadline = patience);
    /// True when the other side resets the connection in time, after its end or without one.
    bool waitForReset(Milliseconds deadline = patience);
    /// Ends its side of the connection.
    void stopSending() { socket.stopSending(); }

private:
    /// False at the end of the connection or after the deadline.
    bool receiveMore(std::chrono::steady_clock::time_point deadline);

    TestSocket socket;
    bool ended = false;
    std::string received;
};

} // namespace Quarlen::Tests

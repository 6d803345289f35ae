#pragma once

#include <cstdint>
#include <system_error>

namespace Quarlen::Platform {

/// Call it between opening a socket and binding it: an address then belongs to this process alone
/// or binding fails, and a restarted server does not have to wait until the connections of the old
/// one time out. `socket` is the system's handle: a file descriptor or a SOCKET.
void bindExclusively(std::intptr_t socket) noexcept;

/// The handle of no socket.
constexpr std::intptr_t noSocket = -1;

/// The result of waiting for a client.
struct Accepted {
    std::intptr_t connection = noSocket;
    /// The cause when there is no connection. Without an error, no client has come so far.
    std::error_code error;
};

/// Waits for the next client of a listening socket; on some systems for a while only. Closing the
/// socket from another thread ends the wait.
[[nodiscard]] Accepted acceptConnection(std::intptr_t listening) noexcept;

/// Whether a failure to accept means that the socket is closed or does not listen. All other
/// failures are passing: a client that has gone again, a system that is short of memory or
/// descriptors, a network that is down.
[[nodiscard]] bool endsListening(const std::error_code& error) noexcept;

} // namespace Quarlen::Platform

#pragma once

#include <cstdint>
#include <system_error>

namespace Quarlen::Platform {

/// To be called between opening a socket and binding it, so that an address is either ours alone
/// or binding fails, and so that a restarted server does not have to wait for the connections of
/// the old one to time out. `socket` is the system's handle: a file descriptor or a SOCKET.
void claimAddress(std::intptr_t socket) noexcept;

/// The handle of no socket.
constexpr std::intptr_t noSocket = -1;

/// What came of waiting for a client.
struct Accepted {
    std::intptr_t connection = noSocket;
    /// Why there is no connection. No error either: nobody has come so far.
    std::error_code error;
};

/// Waits for the next client of a listening socket; on some systems for a while only. Closing the
/// socket from another thread ends the wait.
[[nodiscard]] Accepted acceptConnection(std::intptr_t listening) noexcept;

/// Whether a failure to accept means that the socket is closed or does not listen. Everything else
/// passes: a client that has gone again, a system that is short of memory or descriptors, a network
/// that is down.
[[nodiscard]] bool endsListening(const std::error_code& error) noexcept;

} // namespace Quarlen::Platform

#pragma once

#include <cstdint>
#include <system_error>

namespace Quarlen::Platform {

/// Call it between opening a socket and binding it: an address then belongs to this process alone
/// or binding fails, and a restarted server does not have to wait until the connections of the old
/// one time out. `socket` is the system's handle: a file descriptor or a SOCKET.
void bindExclusively(std::intptr_t socket) noexcept;

/// Call it between opening a datagram socket and binding it to one address: a socket that listens
/// to broadcasts at the same port of all addresses may then be there as well, whichever comes
/// first. Called after binding it only counts for a socket that comes later. What is sent to the
/// one address goes to the socket that is bound to it.
void bindBesideListeners(std::intptr_t socket) noexcept;

/// Whether connections that have been closed, and whose other side is still open, keep the address
/// of a socket that is bound so.
[[nodiscard]] bool oldConnectionsKeepTheAddress() noexcept;

/// Whether a datagram socket that is bound to one address of this machine also gets what is sent to
/// a broadcast address. Where it does, a broadcast address cannot be bound.
[[nodiscard]] bool socketsHearBroadcasts() noexcept;

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

/// What it means for a listening socket that no client has been accepted.
enum class AcceptFault {
    /// No client has come so far.
    NobodyCame,
    /// A client that has gone again, a system that is short of memory or descriptors, a network
    /// that is down: the next client may be accepted.
    Passing,
    /// The socket is closed or does not listen.
    SocketEnded
};

/// The meaning of the system's code: that of `errno` or of Winsock. A code that is not known
/// passes.
[[nodiscard]] AcceptFault acceptFaultOf(int code) noexcept;

} // namespace Quarlen::Platform

#pragma once

#include <chrono>
#include <cstddef>

namespace Quarlen::Kel_cpp {

/// What the runtime's server spends on its clients.
struct ClientLimits {
    /// Over all addresses. One more lets the client go that has been idle for the longest time.
    std::size_t maxClients = 1000;
    /// One message, or the body of one request, in bytes.
    std::size_t maxMessage = std::size_t{1024} * 1024;
    /// A connection that says nothing for so long is closed; one with a WebSocket is asked first,
    /// with a ping after half of the time.
    std::chrono::seconds maxIdle{60};
    /// Notifications that a client has not taken yet; with more it is closed.
    std::size_t maxUnsent = 1000;
};

/// The header of a request, in bytes.
inline constexpr std::size_t maxRequestHeader = 8192;

/// A message, or the body of a request, of a client that has not logged in, in bytes: it has
/// nothing long to say.
inline constexpr std::size_t maxMessageOfStrangers = 1024;

} // namespace Quarlen::Kel_cpp

#pragma once

#include <cstdint>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace Quarlen::Doip {

/// A connected TCP socket. An I/O context that watches one may wake for whatever arrives, also for
/// what another thread reads, and a thread that wakes for nothing costs as much as a message does.
/// So the context can leave the socket alone for a while.
class WatchedSocket {
public:
    using Socket = boost::asio::ip::tcp::socket;

    explicit WatchedSocket(Socket connected);
    WatchedSocket(const WatchedSocket&) = delete;
    WatchedSocket& operator=(const WatchedSocket&) = delete;
    /// Closes it.
    ~WatchedSocket();

    // Any thread.

    /// For the operations of `Platform`; the same as long as this lives.
    [[nodiscard]] std::intptr_t handle() const noexcept { return native; }
    [[nodiscard]] const boost::asio::any_io_executor& executor() const noexcept { return context; }

    // Only the thread of the context.

    /// For what the context waits for: it watches from now on. Throws
    /// `boost::system::system_error`.
    Socket& watched();
    /// The context watches no more, where that would wake it for nothing. Nothing may be waited
    /// for.
    void leaveAlone();

private:
    Socket socket;
    const std::intptr_t native;
    const Socket::protocol_type protocol;
    const boost::asio::any_io_executor context;
    bool isAlone = false;
};

} // namespace Quarlen::Doip

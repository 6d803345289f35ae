#pragma once

#include <memory>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "kel_cpp/network/HttpConnection.hpp"

namespace Quarlen::Kel_cpp {

/// One listening socket: makes each client that connects a connection of the server. All operations
/// except construction run on the I/O thread.
class Listener : public std::enable_shared_from_this<Listener> {
public:
    /// `context` must outlive the I/O context's handlers.
    Listener(boost::asio::ip::tcp::acceptor listening, ServerContext& context,
             ServedAddress served);

    void begin();
    void close();

private:
    void accept();
    void accepted(const boost::system::error_code& error, boost::asio::ip::tcp::socket socket);
    void acceptingFailed(const boost::system::error_code& error);
    void waitForClient();
    void makeRoom();

    boost::asio::ip::tcp::acceptor acceptor;
    boost::asio::steady_timer retryTimer;
    ServerContext& context;
    const ServedAddress served;
    bool acceptFailed = false;
    /// Somebody has connected and not been accepted.
    bool isClientWaiting = false;
};

} // namespace Quarlen::Kel_cpp

#pragma once

#include <functional>
#include <string>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "tools/kel_vehicle/entity/EventLoop.hpp"

namespace Quarlen::KelVehicle {

/// Where testers come in: the TCP port of an entity. All operations run on the loop's thread, or
/// while it does not run.
class TesterDoor {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using OnTester = std::function<void(Socket accepted)>;

    TesterDoor(EventLoop::Context& context, OnTester onTester);

    /// Takes the address for itself. Throws `boost::system::system_error`.
    void open(const boost::asio::ip::tcp::endpoint& own);
    void accept();
    void close();

private:
    void onAccepted(const boost::system::error_code& error, Socket accepted);
    void acceptLater();

    boost::asio::ip::tcp::acceptor acceptor;
    boost::asio::steady_timer pause;
    const OnTester onTester;
};

} // namespace Quarlen::KelVehicle

#pragma once

#include <chrono>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

#include "doip/TesterConnection.hpp"

namespace Quarlen::Doip {

/// How a connection comes about: find the vehicle, connect, have the routing activated. All of it
/// runs on the caller's thread and in real time.
class Opening {
public:
    Opening(TesterConnection& connection, std::stop_token cancel)
        : connection(connection), cancel(std::move(cancel)) {}

    /// Throws `ConnectionLost`, `RoutingRefused`, `Cancelled`.
    void run();

private:
    using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

    [[nodiscard]] Endpoints place();
    [[nodiscard]] Endpoints addressesOf(const std::string& host) const;
    [[nodiscard]] boost::asio::ip::tcp::socket connectToMeant(const Endpoints& endpoints);
    [[nodiscard]] boost::asio::ip::tcp::socket connect(const Endpoints& endpoints);
    [[nodiscard]] std::wstring tryConnect(boost::asio::ip::tcp::socket& socket,
                                          const Endpoints& endpoints,
                                          std::chrono::steady_clock::time_point deadline);
    [[nodiscard]] std::wstring tryAddress(boost::asio::ip::tcp::socket& socket,
                                          const boost::asio::ip::tcp::endpoint& endpoint,
                                          std::chrono::steady_clock::time_point deadline);
    bool activate(const Endpoints& endpoints);
    void awaitActivation();
    void awaitResponse(std::chrono::steady_clock::time_point deadline,
                       std::chrono::milliseconds time);
    void judge(const RoutingActivationResponse& response) const;

    /// Runs the I/O context until the condition holds; false at the deadline. Throws `Cancelled`.
    template <class Condition>
    bool runUntil(Condition condition, std::chrono::steady_clock::time_point deadline);
    void checkCancelled() const;

    TesterConnection& connection;
    const std::stop_token cancel;
};

} // namespace Quarlen::Doip

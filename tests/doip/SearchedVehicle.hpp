#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/udp.hpp>

#include "doip/Payloads.hpp"

namespace Quarlen::Doip::Tests {

/// What answers a search, at the port of a vehicle.
class SearchedVehicle {
public:
    explicit SearchedVehicle(boost::asio::ip::udp::socket bound) : socket(std::move(bound)) {}

    void receive() {
        std::array<std::uint8_t, 1024> bytes{};
        socket.receive_from(boost::asio::buffer(bytes), asker);
    }
    void announce(std::uint8_t version, const VehicleAnnouncement& announcement = {}) {
        receive();
        socket.send_to(boost::asio::buffer(
                           encode(PayloadType::VehicleAnnouncement, encode(announcement), version)),
                       asker);
    }

private:
    boost::asio::ip::udp::socket socket;
    boost::asio::ip::udp::endpoint asker;
};

} // namespace Quarlen::Doip::Tests

#pragma once

#include <array>
#include <cstdint>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>

#include "doip/Payloads.hpp"

namespace Quarlen::Doip::Tests {

/// What answers a search, at the port of a vehicle.
class SearchedVehicle {
public:
    explicit SearchedVehicle(int port)
        : socket(context,
                 {boost::asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(port)}) {}

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
    boost::asio::io_context context;
    boost::asio::ip::udp::socket socket;
    boost::asio::ip::udp::endpoint asker;
};

} // namespace Quarlen::Doip::Tests

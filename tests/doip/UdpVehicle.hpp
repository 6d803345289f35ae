#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <future>
#include <span>
#include <stop_token>
#include <string>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doip/MessageReader.hpp"
#include "doip/VehicleSearch.hpp"
#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {

inline VehicleAnnouncement announcementOf(const std::string& vin, std::uint8_t number) {
    return {vin, 0x1000, {2, 0, 0, 0, 0, number}};
}

/// A vehicle's UDP port, played by a test.
class UdpVehicle : public testing::Test {
protected:
    using udp = boost::asio::ip::udp;

    [[nodiscard]] DoipSettings settings() const {
        DoipSettings settings;
        settings.port = socket.local_endpoint().port();
        settings.host = "127.0.0.1";
        settings.times.control = std::chrono::seconds(60);
        return settings;
    }
    Message receive() {
        std::array<std::uint8_t, 1024> bytes{};
        const auto size = socket.receive_from(boost::asio::buffer(bytes), asker);
        return decodeDatagram(std::span(bytes).first(size));
    }
    void send(const Bytes& datagram) { socket.send_to(boost::asio::buffer(datagram), asker); }
    /// As another machine would. Where the system has no other address to send from, nobody else
    /// can answer either, and nothing is sent.
    void sendFromElsewhere(const Bytes& datagram) {
        const auto elsewhere = boost::asio::ip::make_address_v4("127.0.0.2");
        udp::socket other(context, udp::v4());
        boost::system::error_code none;
        other.bind({elsewhere, 0}, none);
        udp::socket probe(context, {boost::asio::ip::address_v4::loopback(), 0});
        udp::endpoint from;
        std::array<std::uint8_t, 1> byte{};
        if (!none) {
            other.send_to(boost::asio::buffer(byte), probe.local_endpoint());
            probe.receive_from(boost::asio::buffer(byte), from);
        }
        if (from.address() == elsewhere) {
            other.send_to(boost::asio::buffer(datagram), asker);
        }
    }
    void announce(const std::string& vin, std::uint8_t number, std::uint8_t version = version2019) {
        send(
            encode(PayloadType::VehicleAnnouncement, encode(announcementOf(vin, number)), version));
    }
    static std::future<FoundVehicle> searchLater(DoipSettings settings, std::stop_token cancel = {},
                                                 std::stop_token closing = {}) {
        return std::async(std::launch::async, [settings, cancel, closing] {
            return findVehicle(settings, cancel, closing);
        });
    }

    boost::asio::io_context context;
    udp::socket socket{context, {boost::asio::ip::address_v4::loopback(), 0}};
    udp::endpoint asker;
};

} // namespace Quarlen::Doip::Tests

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include <boost/asio/ip/udp.hpp>

#include "doip/Payloads.hpp"
#include "tools/kel_vehicle/entity/EventLoop.hpp"
#include "tools/kel_vehicle/entity/ExchangeLog.hpp"

namespace Quarlen::KelVehicle {

/// How an entity is found and asked without a connection: the UDP port (vehicle identification and
/// announcement, entity status, power mode; ISO 13400-2:2019, clauses 7.3, 7.9). All operations run
/// on the loop's thread, or while it does not run.
class Discovery {
public:
    using Endpoint = boost::asio::ip::udp::endpoint;
    /// What an entity says of itself.
    struct Facts {
        Doip::VehicleAnnouncement announcement{};
        std::function<Doip::EntityStatus()> status{};
    };

    /// `log` and the loop must outlive it.
    Discovery(EventLoop& loop, Facts facts, const ExchangeLog& log);

    /// Port 0 for any that is free. Throws `boost::system::system_error`.
    void open(const Endpoint& own);
    [[nodiscard]] std::uint16_t port() const;
    void receive();
    void close();
    /// Tells everybody who listens at `to` that the vehicle is there.
    void announce(const Endpoint& to);

private:
    /// No datagram is longer: one that is cut fails while it is received, which Windows' emulation
    /// does not survive.
    static constexpr std::size_t maxDatagram = 65536;

    struct Listener {
        explicit Listener(EventLoop::Context& context) : socket(context) {}
        boost::asio::ip::udp::socket socket;
        std::array<std::uint8_t, maxDatagram> datagram{};
        Endpoint from{};
    };

    void openForBroadcasts(const Endpoint& own);
    void receive(Listener& listener);
    void takeSafely(std::span<const std::uint8_t> datagram, const Endpoint& from);
    void take(std::span<const std::uint8_t> datagram, const Endpoint& from);
    void handle(const Doip::Message& request, const Endpoint& from);
    [[nodiscard]] bool isMeant(const Doip::Message& request) const;
    void refuse(const Doip::Message& request, Doip::HeaderNackCode code, const Endpoint& to);
    void refuse(Doip::HeaderNackCode code, std::uint8_t version, const Endpoint& to);
    void send(Doip::PayloadType type, const Doip::Bytes& payload, std::uint8_t version,
              const Endpoint& to);

    const Facts facts;
    const ExchangeLog& log;
    Listener direct;
    Listener broadcasts;
};

/// The IPv4 address that all entities beside this one hear.
[[nodiscard]] boost::asio::ip::address_v4 broadcastOf(const boost::asio::ip::address_v4& own);

} // namespace Quarlen::KelVehicle

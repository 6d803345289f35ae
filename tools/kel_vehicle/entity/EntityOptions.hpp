#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "doip/Message.hpp"
#include "tools/kel_vehicle/misbehaviour/Misbehaviour.hpp"

namespace Quarlen::KelVehicle {

/// Times that ISO 13400-2:2019 names, which tests and benches shorten.
struct EntityTimes {
    /// T_TCP_Initial_Inactivity: until a tester asks for its routing activation.
    std::chrono::milliseconds initialInactivity{2'000};
    /// T_TCP_General_Inactivity: without a byte in either direction.
    std::chrono::milliseconds generalInactivity{300'000};
    /// T_TCP_Alive_Check: until a tester has to answer.
    std::chrono::milliseconds aliveCheck{500};
    /// Some gateways end a connection on which no diagnostic message comes for so long; 0 for
    /// never.
    std::chrono::milliseconds testerPresent{0};
};

/// Most testers at a time that an entity can tell (MCTS of the entity status is one byte).
inline constexpr std::size_t maxTesters = 255;

struct EntityOptions {
    /// An IPv4 address of this machine.
    std::string address = "127.0.0.1";
    /// Of UDP and of TCP; 0 for any that is free.
    std::uint16_t port = Doip::defaultPort;
    /// The IPv4 address that hears the announcements; empty for the broadcast address that belongs
    /// to `address`.
    std::string announceTo{};
    std::size_t maxSockets = maxTesters;
    EntityTimes times{};
    /// From the first request on; at most `maxMisbehaviours`.
    std::vector<Misbehaviour> misbehaviours{};
    /// Takes the lines of the log, without their ends, on the entity's thread; may be empty.
    std::function<void(const std::string& line)> log{};
};

} // namespace Quarlen::KelVehicle

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "doip/Payloads.hpp"

namespace Quarlen::Doip {

/// How long a tester waits for what; the defaults are those of ISO 13400-2:2019 where it has
/// them. All in real time but the acknowledgement, which the clock of the interface measures.
struct DoipTimes {
    /// A_DoIP_Ctrl: for the response to a routing activation or over UDP.
    std::chrono::milliseconds control{2000};
    /// A_DoIP_Diagnostic_Message: for the acknowledgement of a diagnostic message.
    std::chrono::milliseconds acknowledgement{2000};
    /// For somebody who confirms the routing activation in the vehicle.
    std::chrono::milliseconds confirmation{60'000};
    /// How long a search that has found its vehicle listens to what else is told: so short that
    /// connecting is hardly slower.
    std::chrono::milliseconds lookAround{10};
    /// Until a vehicle that cannot be reached is given up. One that restarts is back by then.
    std::chrono::milliseconds connecting{2000};
    /// After so long without a message to the vehicle, one that only keeps the connection goes out.
    /// Some gateways close after five seconds without.
    std::chrono::milliseconds keepAlive{2000};
};

/// Which vehicle, and as whom.
struct DoipSettings {
    /// Name or address of the vehicle; empty: the vehicle is looked for in the network.
    std::string host{};
    int port = defaultPort;
    /// The tester's logical address (`firstTesterAddress` to `lastTesterAddress`).
    std::uint16_t tester = 0x0E80;
    std::uint8_t activation = activationDefault;
    /// Only this vehicle is meant, where it is looked for; empty: any.
    std::string vin{};
    /// Only the vehicle with this entity is meant.
    std::optional<EntityId> eid{};
    DoipTimes times{};
    /// Hears in words of what is odd but does no harm, for example a message to nobody. Called on
    /// any thread; may be empty.
    std::function<void(const std::wstring&)> onNote{};
};

} // namespace Quarlen::Doip

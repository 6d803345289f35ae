#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <utility>

#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// Maximum size of an ISO-TP message with a 12 bit length (ISO 15765-2).
inline constexpr std::size_t maxResponseLength = 4095;

/// The reply of a service of a simulated control unit: a positive response or a negative response
/// code.
struct ServiceReply {
    // NOLINTBEGIN(google-explicit-constructor): a service returns its bytes or its response code
    ServiceReply(Uds::Bytes positive) : response(std::move(positive)) {}
    ServiceReply(Uds::Nrc code) : refusal(code) {}
    // NOLINTEND(google-explicit-constructor)

    Uds::Bytes response;
    std::optional<Uds::Nrc> refusal;
    /// How long the work takes; meanwhile the control unit sends response pending.
    std::chrono::milliseconds duration{0};
};

/// The session and the security level that the tester has reached.
struct AccessState {
    Uds::Session session = Uds::Session::Default;
    /// 0: locked.
    std::uint8_t unlockedLevel = 0;

    [[nodiscard]] bool inSession(Uds::Session required) const noexcept {
        return required == Uds::Session::Default || session == required ||
               (required == Uds::Session::Extended && session == Uds::Session::Programming);
    }
    [[nodiscard]] bool unlocked(std::uint8_t requiredLevel) const noexcept {
        return requiredLevel == 0 || unlockedLevel == requiredLevel;
    }
};

/// A positive response: the service's response identifier, then `parameters`.
[[nodiscard]] inline Uds::Bytes
positiveResponse(Uds::Service service, std::initializer_list<std::uint8_t> parameters = {}) {
    Uds::Bytes response;
    response.reserve(1 + parameters.size());
    response.push_back(static_cast<std::uint8_t>(static_cast<std::uint8_t>(service) +
                                                 Uds::positiveResponseOffset));
    for (const auto parameter : parameters) {
        response.push_back(parameter);
    }
    return response;
}

} // namespace Quarlen::Simulation

#pragma once

#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "doip/DoipSettings.hpp"
#include "doip/Payloads.hpp"

namespace Quarlen::Doip {

/// What a vehicle has said about itself, and where it is.
struct FoundVehicle {
    VehicleAnnouncement announcement;
    /// Its address in numbers.
    std::string host;
    /// The protocol version that it speaks.
    std::uint8_t version = version2019;
};

/// "the vehicle WKLDEMO0000000042 (EID 02:00:00:00:00:01, logical address 0x1000) at 10.0.0.1".
[[nodiscard]] std::wstring vehicleText(const FoundVehicle& vehicle);

/// Looks for the vehicle in all networks of this machine, its own included: it asks everybody for
/// an identification, or the vehicle with the VIN or EID of the settings, and listens to
/// announcements. The first that answers and is meant counts; when several are there, name one of
/// them. `onNote` of the settings hears what was found, of another vehicle that answers hardly
/// later, and whether the vehicle asks for more or is not ready for diagnostics. Asks three times,
/// because datagrams get lost. Blocks in real time up to `settings.times.control`. Throws
/// `Uds::ConnectionLost` when none answers, `Uds::Cancelled` when one of the tokens is raised.
[[nodiscard]] FoundVehicle findVehicle(const DoipSettings& settings, const std::stop_token& cancel,
                                       const std::stop_token& closing);

/// That the vehicle at the host of the settings, an address in numbers, is the one with their VIN
/// and EID. Blocks in real time up to `settings.times.control`. Throws `Uds::ConnectionLost` when
/// it is another one or does not say who it is, `Uds::Cancelled` when one of the tokens is raised.
void checkIdentity(const DoipSettings& settings, const std::stop_token& cancel,
                   const std::stop_token& closing);

/// All vehicles that answer within the time; the search ends early with 256 of them.
[[nodiscard]] std::vector<FoundVehicle> findVehicles(const DoipSettings& settings,
                                                     std::chrono::milliseconds time);

} // namespace Quarlen::Doip

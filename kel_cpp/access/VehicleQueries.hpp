#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kel_cpp/access/Selection.hpp"

/// Short requests to the vehicle. All except `unlockControlUnit` take a selection with an open
/// access, do not change the state of a control unit and may run beside a job. All throw
/// `Uds::Cancelled` once the access is closed and `Uds::ConnectionLost` when it is lost.
namespace Quarlen::Kel_cpp {

/// For each control unit of the vehicle information, in order, whether it answers TesterPresent,
/// positively or negatively. They are asked at the same time. Throws `KelApiException` (code
/// Communication) when none does.
std::vector<bool> checkThatVehicleAnswers(const SelectedVehicle& vehicle);

/// The vehicle identification number (VIN) of the control unit; empty when it cannot be read.
std::wstring readVin(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit);
/// The VIN of the first control unit that returns one; empty when none does.
std::wstring readVin(const SelectedVehicle& vehicle);

/// Parameters of an unlock, which enters the extended session and then runs SecurityAccess.
struct UnlockRequest {
    Uds::UnitAddress unit;
    std::uint8_t level = 1;
    std::uint32_t keyMask = 0;
};

/// Unlocks the control unit while it holds the turn of the access. Returns the link that was used.
/// Throws `Uds::LinkError`, `Uds::NegativeResponse`, `Uds::Cancelled`.
Uds::VehicleLink unlockControlUnit(VehicleAccess& access, const UnlockRequest& request);

} // namespace Quarlen::Kel_cpp

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kel_cpp/access/Selection.hpp"
#include "platform/Clock.hpp"

/// Short requests to the vehicle. All except `unlockControlUnit` take a selection with an open
/// access, do not change the state of a control unit and may run beside a job. All throw
/// `Uds::Cancelled` once the access is closed.
namespace Quarlen::Kel_cpp {

/// True when the control unit answers TesterPresent, positively or negatively.
bool answers(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit,
             Platform::Clock& clock);

/// Throws `KelApiException` (code Communication) when no control unit of the vehicle information
/// answers.
void checkThatVehicleAnswers(const SelectedVehicle& vehicle, Platform::Clock& clock);

/// The vehicle identification number (VIN) of the control unit; empty when it cannot be read.
std::wstring readVin(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit,
                     Platform::Clock& clock);
/// The VIN of the first control unit that returns one; empty when none does.
std::wstring readVin(const SelectedVehicle& vehicle, Platform::Clock& clock);

/// Parameters of an unlock, which enters the extended session and then runs SecurityAccess.
struct UnlockRequest {
    std::wstring logicalLink;
    std::uint8_t level = 1;
    std::uint32_t keyMask = 0;
};

/// Unlocks the control unit while it holds the turn of the access. Returns the link that was used.
/// Throws `Uds::LinkError`, `Uds::NegativeResponse`, `Uds::Cancelled`.
std::unique_ptr<Uds::VehicleLink>
unlockControlUnit(VehicleAccess& access, const UnlockRequest& request, Platform::Clock& clock);

} // namespace Quarlen::Kel_cpp

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "kel_cpp/access/Selection.hpp"
#include "platform/Clock.hpp"

/// Short questions to the vehicle that leave every control unit's state as it is and may run beside
/// a job. All take a selection with an open access and throw `Uds::Cancelled` once it is closed.
namespace Quarlen::Kel_cpp {

/// True when the control unit answers tester present, with yes or no.
bool answers(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit,
             Platform::Clock& clock);

/// Throws `KelApiException` (code Communication) when no control unit of the vehicle information
/// answers.
void checkThatVehicleAnswers(const SelectedVehicle& vehicle, Platform::Clock& clock);

/// The vehicle identification number as the control unit tells it; empty when it does not.
std::wstring readVin(const SelectedVehicle& vehicle, const ProjectTarget& controlUnit,
                     Platform::Clock& clock);
/// Of the first control unit that tells it; empty when none does.
std::wstring readVin(const SelectedVehicle& vehicle, Platform::Clock& clock);

/// The unlock procedure up to the control unit's consent: extended session, then security access.
struct UnlockRequest {
    std::wstring logicalLink;
    std::uint8_t level = 1;
    std::uint32_t keyMask = 0;
};

/// Takes the access's turn for it. Returns the link that was unlocked over. Throws `LinkError`,
/// `Uds::NegativeResponse`, `Uds::Cancelled`.
std::unique_ptr<VehicleLink> unlockControlUnit(VehicleAccess& access, const UnlockRequest& request,
                                               Platform::Clock& clock);

} // namespace Quarlen::Kel_cpp

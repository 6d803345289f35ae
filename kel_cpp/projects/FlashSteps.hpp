#pragma once

#include <chrono>
#include <variant>
#include <vector>

#include "uds/Uds.hpp"

/// The steps that reprogram a control unit, in the order in which a project gives them: the
/// programming of non-volatile memory of ISO 14229-1:2020 clause 17, whose details each
/// manufacturer chooses.
namespace Quarlen::Kel_cpp {

/// A request that the control unit has to answer positively: a session, ControlDTCSetting,
/// CommunicationControl and the like. One that suppresses its answer has to be met by silence.
struct FlashRequest {
    Uds::Bytes request;
};

/// SecurityAccess with the level and the mask of the flash item.
struct FlashUnlock {};

/// Who reprogrammed it, and when: writes the date (year, month, day, BCD) and these bytes to the
/// data identifier applicationDataIdentification of the fingerprint.
struct FlashFingerprint {
    Uds::Bytes tester;
};

/// For each session of the job: erase, download, check of the memory.
struct FlashMemories {};

/// The routine checkProgrammingDependencies has to report success.
struct FlashDependencies {};

/// ECUReset (hard reset), then the wait until the control unit answers again.
struct FlashReset {
    std::chrono::milliseconds bootTime{10000};
};

using FlashStep = std::variant<FlashRequest, FlashUnlock, FlashFingerprint, FlashMemories,
                               FlashDependencies, FlashReset>;

/// What is done for each session of a flash item whose project gives no steps.
[[nodiscard]] inline std::vector<FlashStep> commonFlashSteps() {
    return {FlashRequest{{static_cast<std::uint8_t>(Uds::Service::DiagnosticSessionControl),
                          static_cast<std::uint8_t>(Uds::Session::Programming)}},
            FlashUnlock{}, FlashMemories{}};
}

} // namespace Quarlen::Kel_cpp

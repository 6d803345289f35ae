#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/JobRecords.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp {

/// A data identifier that was asked for, in an identification or in a freeze frame.
struct IdentificationValue {
    enum class State {
        Read,
        /// The control unit does not have it (NRC 0x31).
        NotSupported,
        /// The software version of a control unit whose programming was begun and not finished.
        Interrupted,
        /// Refused for another reason.
        Refused,
    };

    std::uint16_t dataIdentifier = 0;
    std::wstring name;
    /// Readable text, or the bytes in hexadecimal, or the reason why the value could not be read.
    std::wstring value;
    State state = State::Read;
};

/// What a control unit stored of its surroundings when a fault occurred (DTCSnapshotRecord).
struct FreezeFrame {
    std::uint8_t number = 0;
    std::vector<IdentificationValue> values;
    /// What follows the first value of unknown length.
    std::vector<std::uint8_t> unread;
};

/// One extended data record of a fault, for example a counter (DTCExtDataRecord).
struct ExtendedRecord {
    std::uint8_t number = 0;
    std::wstring name;
    std::wstring value;
};

/// One entry of a fault memory.
struct DtcReading {
    /// Three bytes, to be read as the control unit's `dtcFormat` says.
    std::uint32_t code = 0;
    /// ISO 14229-1 D.2, bit 0 testFailed to bit 7 warningIndicatorRequested.
    std::uint8_t status = 0;
    /// Empty when the project has no text for the code.
    std::wstring text;
    std::vector<FreezeFrame> freezeFrames{};
    std::vector<ExtendedRecord> extendedData{};
    /// Sentences on freeze frames or extended data that were asked for and are not there; may be
    /// empty.
    std::wstring recordsText{};
};

/// The built-in runtime's quick-test result: one control unit.
struct ControlUnitQuickTestResult : QuickTestResult {
    enum class Reply {
        /// It answered something, be it a refusal.
        Answered,
        Silent,
        /// It was not reached: it is unknown, or the connection was lost before its turn.
        NotAsked,
    };

    std::wstring name;
    std::wstring link;
    Reply reply = Reply::Answered;
    /// Why something that was asked for could not be read; else empty.
    std::wstring errorText;
    std::vector<IdentificationValue> identification;
    /// False when no status was asked for, so that `faults` tells nothing.
    bool faultsAskedFor = true;
    /// Faults whose status matches the mask that was asked for.
    std::vector<DtcReading> faults;
    /// Every DTC the control unit supports (service 0x19 0x0A); filled when it was asked for.
    std::vector<DtcReading> supported;
    /// Number of DTCs that match the status mask, counted by the control unit (service 0x19 0x01).
    std::uint16_t faultCount = 0;
    /// DTCStatusAvailabilityMask: the status bits that the control unit uses.
    std::uint8_t statusAvailability = 0xFF;
    /// DTCFormatIdentifier (ISO 14229-1 D.4); empty when the control unit does not tell it.
    std::optional<std::uint8_t> dtcFormat{};
    /// With unit; empty when the control unit does not tell it. Without a value it was not asked
    /// for.
    std::optional<std::wstring> mileage{};
};

/// True when the identification tells of a programming that was begun and not finished.
inline bool wasInterrupted(const ControlUnitQuickTestResult& unit) {
    return std::any_of(
        unit.identification.begin(), unit.identification.end(),
        [](const auto& value) { return value.state == IdentificationValue::State::Interrupted; });
}

/// The first VIN that was read of any of them; empty without one.
inline std::wstring
readVinOf(const std::vector<std::shared_ptr<ControlUnitQuickTestResult>>& units) {
    for (const auto& unit : units) {
        for (const IdentificationValue& value : unit->identification) {
            if (value.dataIdentifier == Uds::Did::vin &&
                value.state == IdentificationValue::State::Read && !value.value.empty()) {
                return value.value;
            }
        }
    }
    return {};
}

} // namespace Quarlen::Kel_cpp

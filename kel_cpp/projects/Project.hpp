#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "kel_cpp/projects/FlashSteps.hpp"
#include "uds/Uds.hpp"
#include "uds/VehicleInterface.hpp"

/// A diagnostic project as its project.xml describes it: vehicle informations with their targets,
/// procedures, identification items, unlock procedures, flash items and DTC texts. `readProject`
/// makes it and checks that names are unique within their list and that references between the
/// lists are valid. A project holds plain values and is not changed after it has been read, so the
/// selection and the jobs share its ownership and any thread may read it.
namespace Quarlen::Kel_cpp {

/// Kind 1 is a control unit and has a logical link; other kinds have none.
struct ProjectTarget {
    std::int32_t kind = 1;
    std::wstring name;
    std::wstring link;
    /// Logical addresses of ISO 13400-2 that the project says: of the control unit, of the group
    /// that it listens to, and of the tester.
    std::optional<std::uint16_t> address{};
    std::optional<std::uint16_t> functionalAddress{};
    std::optional<std::uint16_t> testerAddress{};
    /// Empty: over any interface.
    std::wstring interfaceName{};

    [[nodiscard]] Uds::UnitAddress unitAddress() const {
        return {link, address, functionalAddress, testerAddress};
    }
};

struct VehicleInformation {
    std::wstring name;
    std::vector<ProjectTarget> targets;
    /// Names of the procedures on offer, in order.
    std::vector<std::wstring> procedures;
};

/// One byte of an expected answer; an empty value matches any byte.
using ExpectedByte = std::optional<std::uint8_t>;

struct UdsStep {
    std::wstring link;
    Uds::Bytes request;
    std::vector<ExpectedByte> expected;
    /// True when the answer may be longer than `expected` (the text ends with "*").
    bool openEnd = false;
    /// Silence is as good as a positive answer; a negative one fails the step all the same.
    bool wantsNoAnswer = false;
    /// For how long a control unit is asked again whose delay timer runs (NRC 0x37).
    std::chrono::seconds delayBound{0};
};

struct WaitStep {
    std::chrono::milliseconds duration{0};
};

struct VerdictStep {
    bool passed = true;
    std::wstring text;
};

using OtxStep = std::variant<UdsStep, WaitStep, VerdictStep>;

struct OtxProcedure {
    std::wstring name;
    std::vector<OtxStep> steps;
};

/// A data identifier that is read from a control unit for identification.
struct IdentificationItem {
    std::uint16_t dataIdentifier = 0;
    std::wstring name;
};

/// One of the numbered records that control units store with a fault; their numbers are the
/// manufacturer's choice (ISO 14229-1 clause 12.3, DTCExtDataRecordNumber).
struct ExtendedDataItem {
    std::uint8_t number = 0;
    std::wstring name;
    /// The record is a number in this unit, which may be empty; without a value it is bytes.
    std::optional<std::wstring> unit{};
};

/// The data identifier with the vehicle's mileage, a number in this unit.
struct MileageItem {
    std::uint16_t dataIdentifier = 0;
    std::wstring unit;
};

struct UnlockParameter {
    /// The text that a script gives, for example "level1".
    std::wstring name;
    /// Odd SecurityAccess level, ISO 14229-1 clause 10.4.
    std::uint8_t level = 1;
    std::uint32_t keyMask = 0;
};

struct UnlockProcedure {
    std::wstring name;
    std::wstring link;
    std::vector<UnlockParameter> parameters;
};

struct FlashSessionDescription {
    std::wstring name;
    /// File name in the data folder "flashdata".
    std::wstring file;
    std::uint32_t address = 0;
    /// Expected size in bytes and CRC-32 of the whole file; empty when the project gives none.
    std::optional<std::uint64_t> size{};
    std::optional<std::uint32_t> checksum{};
    /// The file is flashed although the project tells neither its size nor its checksum.
    bool unchecked = false;
};

struct FlashItem {
    std::wstring name;
    /// Name of a kind 1 target; its link is used.
    std::wstring target;
    std::wstring description;
    std::uint8_t securityLevel = 1;
    std::uint32_t keyMask = 0;
    std::vector<FlashSessionDescription> sessions;
    /// Done once for all sessions of a job; empty for the common steps, once for each session.
    std::vector<FlashStep> steps{};
};

/// A three-byte DTC and its text.
struct DtcText {
    std::uint32_t code = 0;
    std::wstring text;
};

struct Project {
    std::wstring name;
    std::wstring description;
    std::vector<VehicleInformation> vehicleInformations;
    std::vector<OtxProcedure> procedures;
    std::vector<IdentificationItem> identification;
    /// Empty: the project says nothing of them.
    std::vector<ExtendedDataItem> extendedData;
    std::optional<MileageItem> mileage;
    std::vector<UnlockProcedure> unlocks;
    std::vector<FlashItem> flashItems;
    std::vector<DtcText> dtcTexts;

    [[nodiscard]] const VehicleInformation*
    findVehicleInformation(const std::wstring& wanted) const;
    [[nodiscard]] const OtxProcedure* findProcedure(const std::wstring& wanted) const;
    [[nodiscard]] const UnlockProcedure* findUnlock(const std::wstring& wanted) const;
    [[nodiscard]] const FlashItem* findFlashItem(const std::wstring& wanted) const;
    /// What the targets say of the link; the link alone when none of them has it.
    [[nodiscard]] Uds::UnitAddress addressOf(const std::wstring& logicalLink) const;
    /// Empty for a code that has no text.
    [[nodiscard]] std::wstring dtcText(std::uint32_t code) const;
};

} // namespace Quarlen::Kel_cpp

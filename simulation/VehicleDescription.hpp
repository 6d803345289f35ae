#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "uds/Uds.hpp"

/// A vehicle as its vehicle.xml describes it: plain values, checked when the file is read.
namespace Quarlen::Simulation {

/// The session and the security level that a request requires.
struct AccessRequirement {
    /// Default: any session. Extended: the extended or the programming session. Programming: only
    /// the programming session.
    Uds::Session session = Uds::Session::Default;
    /// Odd SecurityAccess level, 0 for none.
    std::uint8_t securityLevel = 0;
};

struct DataIdentifierDescription {
    std::uint16_t id = 0;
    Uds::Bytes value;
    bool writable = false;
    /// Required for writing and for control; reading is always allowed.
    AccessRequirement writeAccess;
    /// InputOutputControlByIdentifier may take its value over.
    bool controllable = false;
};

/// One value of a freeze frame.
struct FrameData {
    std::uint16_t id = 0;
    Uds::Bytes value;
};

struct FreezeFrameDescription {
    std::uint8_t number = 1;
    std::vector<FrameData> data;
};

struct ExtendedDataDescription {
    std::uint8_t number = 1;
    Uds::Bytes value;
};

struct DtcDescription {
    /// Three-byte DTC.
    std::uint32_t code = 0;
    std::uint8_t status = 0;
    std::vector<FreezeFrameDescription> freezeFrames{};
    std::vector<ExtendedDataDescription> extendedData{};
};

struct SecurityLevelDescription {
    std::uint8_t level = 1;
    std::uint32_t keyMask = 0;
};

struct RoutineDescription {
    std::uint16_t id = 0;
    /// Follows the routine identifier in the response.
    Uds::Bytes result;
    std::chrono::milliseconds duration{0};
    AccessRequirement access;
};

struct FlashMemoryDescription {
    std::uint32_t address = 0;
    std::uint32_t size = 0;
    /// Longest TransferData request, service identifier and block counter included.
    std::uint32_t blockLength = 4096;
    std::chrono::milliseconds eraseDuration{0};
    std::uint8_t securityLevel = 1;

    /// First address behind the memory.
    [[nodiscard]] std::uint64_t end() const noexcept { return std::uint64_t{address} + size; }
};

/// A deliberate fault that applies to requests that begin with `request`.
struct FaultDescription {
    Uds::Bytes request;
    /// Empty: the control unit stays silent.
    Uds::Bytes response;
    /// The interface fails instead of the control unit.
    bool linkLost = false;
    /// Number of matching requests that are answered normally before the fault begins.
    std::uint32_t after = 0;
    /// Number of failures before the fault ends; without a value it never ends.
    std::optional<std::uint32_t> times;
    /// The message is not taken: whoever sends it waits.
    bool inputFull = false;
};

/// The sessions from which the programming session may be entered.
enum class ProgrammingFrom { AnySession, Extended };

struct ControlUnitDescription {
    std::wstring name;
    std::uint16_t address = 0;
    /// Name of the logical link on which the control unit receives requests.
    std::wstring link;
    std::chrono::milliseconds responseDelay{0};
    /// From the response to ECUReset until the control unit answers again.
    std::chrono::milliseconds bootTime{0};
    ProgrammingFrom programmingFrom = ProgrammingFrom::AnySession;
    /// DTCFormatIdentifier (ISO 14229-1 annex D.4); 0x00 are codes of ISO 15031-6.
    std::uint8_t dtcFormat = 0x00;
    /// DTCStatusAvailabilityMask: the status bits in use.
    std::uint8_t statusAvailability = 0xFF;
    std::vector<DataIdentifierDescription> dataIdentifiers;
    std::vector<DtcDescription> dtcs;
    std::vector<SecurityLevelDescription> securityLevels;
    std::vector<RoutineDescription> routines;
    std::vector<FlashMemoryDescription> flashMemories;
    std::vector<FaultDescription> faults;
};

/// Six bytes, often a hardware address (ISO 13400-2:2019, table 1).
using EntityIdentifier = std::array<std::uint8_t, 6>;

struct VehicleDescription {
    std::wstring vin;
    std::vector<ControlUnitDescription> controlUnits;
    /// How the vehicle shows itself in a network: the logical address of its gateway, which need
    /// not be a control unit's, and what identifies the gateway and the group it belongs to.
    std::uint16_t gatewayAddress = 0x1000;
    EntityIdentifier eid{0x02, 0x00, 0x00, 0x00, 0x00, 0x01};
    EntityIdentifier gid = eid;
};

} // namespace Quarlen::Simulation

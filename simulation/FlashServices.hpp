#pragma once

#include <cstdint>
#include <vector>

#include "simulation/DataIdentifiers.hpp"
#include "simulation/FlashProgramming.hpp"
#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// Who may do what with the flash memory of a simulated control unit, and what programming makes of
/// its software version (0xF195): an erase takes it away, a check that succeeds gives the new one.
/// The session of a service is checked by the caller, that of a
/// routine here. Not thread-safe.
class FlashServices {
public:
    /// `data` must outlive this object.
    FlashServices(const std::vector<FlashMemoryDescription>& descriptions, DataIdentifiers& data);

    [[nodiscard]] bool hasMemory() const noexcept { return !programming.memory().empty(); }
    /// True for the routines that erase and check (0xFF00, 0x0202, and 0xFF01, which says whether
    /// there is a software to be started).
    [[nodiscard]] static bool owns(std::uint64_t routine) noexcept;

    ServiceReply runRoutine(const Uds::Bytes& request, const AccessState& access);
    ServiceReply readMemory(const Uds::Bytes& request, const AccessState& access);
    ServiceReply requestDownload(const Uds::Bytes& request, const AccessState& access);
    ServiceReply transferData(const Uds::Bytes& request);
    ServiceReply transferExit(const Uds::Bytes& request);

    /// Called when the session changes: a download that has not been checked is discarded.
    void abort() { programming.abort(); }

    /// Empty when the region is not within one memory.
    [[nodiscard]] Uds::Bytes content(const MemoryRegion& region) const;

private:
    [[nodiscard]] bool isUnlocked(const AccessState& access) const noexcept;
    ServiceReply erase(const Uds::Bytes& request);
    [[nodiscard]] ServiceReply checkDependencies(const Uds::Bytes& request) const;
    ServiceReply checkMemory(const Uds::Bytes& request);

    DataIdentifiers& data;
    FlashProgramming programming;
};

} // namespace Quarlen::Simulation

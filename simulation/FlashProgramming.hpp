#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "simulation/FlashMemories.hpp"
#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The flash memory of a simulated control unit and how it is programmed (ISO 14229-1 clauses 14
/// and 15): erase, request a download, transfer, exit, check. Memory behaves like flash: a region
/// takes data only after it was erased. The caller checks session and security. Not thread-safe.
class FlashProgramming {
public:
    explicit FlashProgramming(const std::vector<FlashMemoryDescription>& descriptions);
    FlashProgramming(const FlashProgramming&) = delete;
    FlashProgramming& operator=(const FlashProgramming&) = delete;
    ~FlashProgramming() = default;

    [[nodiscard]] const FlashMemories& memory() const noexcept { return memories; }

    /// Routine 0xFF00 without an option record (everything) or with address-and-length format
    /// identifier, address and size.
    ServiceReply erase(const Uds::Bytes& request);
    /// Routine 0x0202 with the CRC-32 that the last completed download should have. The result is
    /// one byte: 0 matches, 1 does not.
    ServiceReply check(const Uds::Bytes& request);
    /// ReadMemoryByAddress (clause 11.3).
    ServiceReply readMemory(const Uds::Bytes& request);
    ServiceReply requestDownload(const Uds::Bytes& request);
    ServiceReply transferData(const Uds::Bytes& request);
    ServiceReply transferExit(const Uds::Bytes& request);

    /// Called when the programming session ends: a download that has not been checked is discarded.
    void abort();

    /// Returns, once, the version that a successful check has found: the text behind "KELSWVER" at
    /// the begin of the image, else its CRC-32 in hexadecimal.
    std::optional<Uds::Bytes> takeNewSoftwareVersion();

private:
    struct Download {
        FlashMemories::Memory* memory = nullptr;
        MemoryRegion region;
        std::uint64_t written = 0;
        std::uint8_t expectedCounter = 1;
    };

    void readSoftwareVersion(std::uint32_t checksum);

    FlashMemories memories;
    std::optional<Download> running;
    std::optional<Download> completed;
    std::optional<Uds::Bytes> newSoftwareVersion;
};

} // namespace Quarlen::Simulation

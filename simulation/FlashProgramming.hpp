#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The flash memory of a simulated control unit and how it is programmed (ISO 14229-1 clauses 13
/// and 14): erase, request a download, transfer, exit, check. Memory behaves like flash: a region
/// takes data only after it was erased. The content is allocated by the first erase; before, all
/// bytes are zero. The caller checks the session. Not thread-safe.
class FlashProgramming {
public:
    explicit FlashProgramming(const std::vector<FlashMemoryDescription>& descriptions);
    FlashProgramming(const FlashProgramming&) = delete;
    FlashProgramming& operator=(const FlashProgramming&) = delete;
    ~FlashProgramming() = default;

    [[nodiscard]] bool hasMemory() const noexcept { return !memories.empty(); }
    /// The security level, which is the same for all memories of one control unit.
    [[nodiscard]] std::uint8_t securityLevel() const noexcept;

    /// Routine 0xFF00 without an option record (everything) or with address-and-length format
    /// identifier, address and size.
    ServiceReply erase(const Uds::Bytes& request);
    /// Routine 0x0202 with the CRC-32 that the last completed download should have. The result is
    /// one byte: 0 matches, 1 does not.
    ServiceReply check(const Uds::Bytes& request);
    ServiceReply requestDownload(const Uds::Bytes& request);
    ServiceReply transferData(const Uds::Bytes& request);
    ServiceReply transferExit(const Uds::Bytes& request);

    /// Called when the programming session ends: a download that has not been checked is discarded.
    void abort();

    /// Returns, once, the version that a successful check has found: the text behind "KELSWVER" at
    /// the begin of the image, else its CRC-32 in hexadecimal.
    std::optional<Uds::Bytes> takeNewSoftwareVersion();

    /// Empty when the region is not within one memory.
    [[nodiscard]] Uds::Bytes content(std::uint32_t address, std::uint32_t size) const;

private:
    struct Region {
        std::uint64_t address = 0;
        std::uint64_t size = 0;
    };
    struct Memory {
        FlashMemoryDescription description;
        /// Empty until the first erase.
        Uds::Bytes bytes;
    };
    struct Download {
        Memory* memory = nullptr;
        Region region;
        std::uint64_t written = 0;
        std::uint8_t expectedCounter = 1;
    };

    struct ParsedRegion;
    [[nodiscard]] static ParsedRegion parseRegion(const Uds::Bytes& request, std::size_t offset);
    [[nodiscard]] Memory* findMemory(const Region& region);
    [[nodiscard]] static std::uint8_t* start(const Download& download);
    static void wipe(Memory& memory, const Region& region);
    [[nodiscard]] static bool isBlank(const Memory& memory, const Region& region);
    void readSoftwareVersion(std::uint32_t checksum);

    std::vector<Memory> memories;
    std::optional<Download> running;
    std::optional<Download> completed;
    std::optional<Uds::Bytes> newSoftwareVersion;
};

} // namespace Quarlen::Simulation

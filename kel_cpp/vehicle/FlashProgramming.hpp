#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "kel_cpp/uds/Uds.hpp"
#include "kel_cpp/vehicle/ServiceReply.hpp"

namespace Quarlen::Kel_cpp {

/// The flash memory of a simulated control unit and how it is programmed (ISO 14229-1 clauses 13
/// and 14): erase, request a download, transfer, exit, check. Memory behaves like flash: a region
/// takes data only after it was erased. Content exists only from the first erase on, as delivered
/// it is all zero. Whether the session allows it is the caller's question. Not thread-safe.
class FlashProgramming {
public:
    explicit FlashProgramming(const std::vector<FlashMemoryDescription>& descriptions);
    FlashProgramming(const FlashProgramming&) = delete;
    FlashProgramming& operator=(const FlashProgramming&) = delete;
    ~FlashProgramming() = default;

    [[nodiscard]] bool hasMemory() const noexcept { return !memories.empty(); }
    /// All memories of one control unit have the same.
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

    /// The programming session was left: a download that has not been checked is forgotten.
    void abort();

    /// What a successful check has found, once: the text behind "KELSWVER" at the begin of the
    /// image, else its CRC-32 in hexadecimal.
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
        /// Empty as delivered.
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

} // namespace Quarlen::Kel_cpp

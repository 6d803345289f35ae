#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// A part of the address space of a control unit.
struct MemoryRegion {
    std::uint64_t address = 0;
    std::uint64_t size = 0;
};

/// A region of a request, or why the request is refused.
struct RequestedRegion {
    MemoryRegion region;
    std::optional<Uds::Nrc> refusal;
};

/// The region of a request whose address-and-length format identifier stands at `offset` and whose
/// size ends it (ISO 14229-1 annex H.1): the high half byte counts the bytes of the size, the low
/// one those of the address.
[[nodiscard]] RequestedRegion requestedRegion(const Uds::Bytes& request, std::size_t offset);

/// The content of a simulated control unit's flash memories. It is allocated by the first erase of
/// a memory; before, all bytes are zero. Not thread-safe.
class FlashMemories {
public:
    struct Memory {
        FlashMemoryDescription description;
        /// Empty until the first erase.
        Uds::Bytes bytes;

        /// The first byte of a region that is within the memory, which has been erased once.
        [[nodiscard]] std::uint8_t* at(const MemoryRegion& region);
        void erase(const MemoryRegion& region);
        [[nodiscard]] bool isBlank(const MemoryRegion& region);
    };

    explicit FlashMemories(const std::vector<FlashMemoryDescription>& descriptions);

    [[nodiscard]] std::vector<Memory>& all() noexcept { return memories; }
    [[nodiscard]] bool empty() const noexcept { return memories.empty(); }
    /// The security level, which is the same for all memories of one control unit.
    [[nodiscard]] std::uint8_t securityLevel() const noexcept;

    /// Null when the region is not within one memory.
    [[nodiscard]] Memory* find(const MemoryRegion& region);
    /// Empty when the region is not within one memory.
    [[nodiscard]] Uds::Bytes content(const MemoryRegion& region) const;

private:
    std::vector<Memory> memories;
};

} // namespace Quarlen::Simulation

#include "simulation/FlashMemories.hpp"

#include <algorithm>

namespace Quarlen::Simulation {

namespace {

constexpr std::uint8_t erasedByte = 0xFF;

bool isWithin(const MemoryRegion& region, const FlashMemoryDescription& memory) {
    return region.address >= memory.address && region.address + region.size <= memory.end();
}

} // namespace

RequestedRegion requestedRegion(const Uds::Bytes& request, std::size_t offset) {
    constexpr std::size_t maxBytes = 4;
    const std::size_t sizeBytes = request[offset] >> 4U;
    const std::size_t addressBytes = request[offset] & 0x0FU;
    const auto usable = [](std::size_t bytes) { return bytes >= 1 && bytes <= maxBytes; };
    if (!usable(sizeBytes) || !usable(addressBytes)) {
        return {{}, Uds::Nrc::RequestOutOfRange};
    }
    if (request.size() != offset + 1 + addressBytes + sizeBytes) {
        return {{}, Uds::Nrc::IncorrectMessageLengthOrInvalidFormat};
    }
    return {{Uds::numberAt(request, offset + 1, addressBytes),
             Uds::numberAt(request, offset + 1 + addressBytes, sizeBytes)},
            std::nullopt};
}

std::uint8_t* FlashMemories::Memory::at(const MemoryRegion& region) {
    return bytes.data() + (region.address - description.address);
}

void FlashMemories::Memory::erase(const MemoryRegion& region) {
    bytes.resize(description.size, 0x00);
    std::fill_n(at(region), region.size, erasedByte);
}

bool FlashMemories::Memory::isBlank(const MemoryRegion& region) {
    if (bytes.empty()) {
        return false;
    }
    const auto* const first = at(region);
    return std::all_of(first, first + region.size,
                       [](std::uint8_t byte) { return byte == erasedByte; });
}

FlashMemories::FlashMemories(const std::vector<FlashMemoryDescription>& descriptions) {
    for (const auto& description : descriptions) {
        memories.push_back({description, {}});
    }
}

std::uint8_t FlashMemories::securityLevel() const noexcept {
    return memories.empty() ? std::uint8_t{0} : memories.front().description.securityLevel;
}

FlashMemories::Memory* FlashMemories::find(const MemoryRegion& region) {
    const auto found = std::find_if(memories.begin(), memories.end(), [&](const Memory& memory) {
        return region.size > 0 && isWithin(region, memory.description);
    });
    return found == memories.end() ? nullptr : &*found;
}

Uds::Bytes FlashMemories::content(const MemoryRegion& region) const {
    for (const auto& memory : memories) {
        if (!isWithin(region, memory.description)) {
            continue;
        }
        if (memory.bytes.empty()) {
            return Uds::Bytes(region.size, 0x00);
        }
        const auto begin = memory.bytes.begin() +
                           static_cast<std::ptrdiff_t>(region.address - memory.description.address);
        return {begin, begin + static_cast<std::ptrdiff_t>(region.size)};
    }
    return {};
}

} // namespace Quarlen::Simulation

#include "simulation/FlashRegions.hpp"

#include <iterator>

namespace Quarlen::Simulation {

void FlashRegions::add(const pugi::xml_node& node, const FlashMemoryDescription& memory) {
    if (memory.end() > std::uint64_t{1} << 32U) {
        file.failAttribute(node, "size", L"the memory ends behind 0xFFFFFFFF, expected 32 bits");
    }
    // The memories so far do not overlap, so only the two neighbours need a check.
    const auto above = ends.lower_bound(memory.address);
    const bool reachesAbove = above != ends.end() && above->first < memory.end();
    const bool reachedFromBelow =
        above != ends.begin() && std::prev(above)->second > memory.address;
    if (reachesAbove || reachedFromBelow) {
        file.failAttribute(node, "address",
                           L"two flash memories overlap, expected separate regions");
    }
    ends.emplace_hint(above, memory.address, memory.end());
    if (memory.securityLevel != securityLevel.value_or(memory.securityLevel)) {
        file.failAttribute(node, "securityLevel",
                           L"expected the same security level for all flash memories of a "
                           L"control unit");
    }
    securityLevel = memory.securityLevel;
}

} // namespace Quarlen::Simulation

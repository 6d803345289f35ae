#include "uds/SeedKey.hpp"

#include <algorithm>

namespace Quarlen::Uds {

Bytes keyForSeed(const Bytes& seed, std::uint32_t mask) {
    Bytes key = seed;
    for (std::size_t index = 0; index < key.size(); ++index) {
        const auto shift = 24U - 8U * static_cast<unsigned>(index % 4U);
        key[index] = static_cast<std::uint8_t>(key[index] ^ ((mask >> shift) & 0xFFU));
    }
    if (!key.empty()) {
        std::rotate(key.begin(), key.begin() + 1, key.end());
    }
    return key;
}

} // namespace Quarlen::Uds

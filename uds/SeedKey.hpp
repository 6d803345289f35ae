#pragma once

#include <cstdint>

#include "uds/Uds.hpp"

namespace Quarlen::Uds {

/// Key for a SecurityAccess seed: every byte XORed with the mask's bytes (most significant first,
/// repeated), then the whole rotated left by one byte. Tester and simulated vehicle share it.
Bytes keyForSeed(const Bytes& seed, std::uint32_t mask);

} // namespace Quarlen::Uds

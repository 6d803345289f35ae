#pragma once

#include <cstddef>
#include <cstdint>

namespace Quarlen::Uds {

/// CRC-32 of ISO 3309 / IEEE 802.3 (reflected, polynomial 0x04C11DB7, "123456789" gives
/// 0xCBF43926): the checkMemory routine compares it. `previous` is the CRC of the preceding parts.
[[nodiscard]] std::uint32_t crc32(const std::uint8_t* data, std::size_t size,
                                  std::uint32_t previous = 0) noexcept;

} // namespace Quarlen::Uds

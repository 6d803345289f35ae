#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Quarlen::Platform {

/// SHA-256 (FIPS 180-4) of the bytes, by the system's own library. Throws `std::runtime_error` when
/// that has none.
[[nodiscard]] std::array<std::uint8_t, 32> sha256(std::string_view bytes);

} // namespace Quarlen::Platform

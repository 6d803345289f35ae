#pragma once

#include <cstdint>
#include <optional>

#include "uds/VehicleInterface.hpp"

namespace Quarlen::Kel_cpp {

/// The tester's logical address where nothing says another one (ISO 13400-2, table 13: external
/// test equipment).
inline constexpr std::uint16_t usualTester = 0x0E80;

[[nodiscard]] inline std::uint16_t testerOf(const Uds::UnitAddress& unit) noexcept {
    return unit.tester.value_or(usualTester);
}

/// Of the control unit, else of the group; nothing where none is known.
[[nodiscard]] inline std::optional<std::uint16_t>
otherEndOf(const Uds::UnitAddress& unit) noexcept {
    return unit.physical ? unit.physical : unit.functional;
}

} // namespace Quarlen::Kel_cpp

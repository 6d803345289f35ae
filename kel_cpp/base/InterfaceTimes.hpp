#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The parameters of an interface that say for how long its control units may be silent, in
/// milliseconds, and their highest values: P2client and P2*client of ISO 14229-2:2021 (clause 7.2).
inline constexpr std::array<std::pair<const char*, std::uint64_t>, 2> interfaceTimes{
    {{"p2", 60'000}, {"p2Star", 600'000}}};

/// Empty when the interface does not have the parameter. Throws `KelApiException` (code
/// Configuration) for a value that is no number from 1 to `max`.
[[nodiscard]] std::optional<std::chrono::milliseconds>
interfaceTime(const InterfaceEntry& entry, const char* parameter, std::uint64_t max);

} // namespace Quarlen::Kel_cpp

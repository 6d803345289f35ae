#pragma once

#include <cstddef>
#include <cstdint>

namespace Quarlen::KelVehicle {

/// The longest request that a control unit gets, which the entity status tells (MDS, ISO
/// 13400-2:2019, table 11).
inline constexpr std::size_t maxRequest = std::size_t{16} * 1024 * 1024;
/// The longest payload that is read at all: a request that is too long for its control unit is
/// refused by the diagnostic message handler, one beyond this by the header handler.
inline constexpr std::size_t maxPayload = maxRequest + 65536;
/// Bytes of all messages that are only half there.
inline constexpr std::size_t maxHalfMessages = std::size_t{256} * 1024 * 1024;
/// Bytes that wait for one tester that does not read.
inline constexpr std::size_t maxUnsent = std::size_t{4} * 1024 * 1024;
/// Bytes of a tester that are read although nobody hears them, so that its end is noticed.
inline constexpr std::size_t maxUnheard = std::size_t{64} * 1024;
/// Connections without routing activation beside those that have one.
inline constexpr std::size_t maxNewConnections = 64;

/// The protocol versions that the entity answers.
[[nodiscard]] bool isServedVersion(std::uint8_t version) noexcept;

} // namespace Quarlen::KelVehicle

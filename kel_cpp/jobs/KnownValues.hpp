#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

/// A data identifier whose length and scaling a standard lays down: 0xF400 to 0xF4FF hold the
/// parameters of SAE J1979-DA under their numbers (ISO 14229-1 annex C.1).
struct KnownValue {
    std::uint16_t dataIdentifier = 0;
    const wchar_t* name = L"";
    std::size_t length = 0;
    const wchar_t* unit = L"";
    /// value = raw * multiplier / divisor + offset, counted in 10^-decimals units.
    std::int64_t multiplier = 1;
    std::int64_t divisor = 1;
    std::int64_t offset = 0;
    int decimals = 0;
};

namespace KnownIdentifier {
/// Parameter 0xA6, in tenths of a kilometre.
inline constexpr std::uint16_t odometer = 0xF4A6;
} // namespace KnownIdentifier

/// Null for an identifier that only the manufacturer knows.
[[nodiscard]] const KnownValue* knownValue(std::uint16_t dataIdentifier) noexcept;

/// "1726 1/min"; the bytes in hexadecimal when they are not as long as the standard says.
[[nodiscard]] std::wstring knownText(const KnownValue& known, const Uds::Bytes& bytes);

/// An unsigned number of at most eight bytes with its unit; longer values in hexadecimal.
[[nodiscard]] std::wstring numberText(const Uds::Bytes& bytes, const std::wstring& unit);

} // namespace Quarlen::Kel_cpp

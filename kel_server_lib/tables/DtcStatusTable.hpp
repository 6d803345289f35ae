#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Quarlen {

/// Bit of the DTC status byte (ISO 14229-1, D.2) for its text, 0 for "Empty", all bits for a text
/// that names none.
std::uint32_t dtcStatusFromText(const std::wstring& text);

/// The texts that the table has.
std::vector<std::wstring_view> dtcStatusTexts();

} // namespace Quarlen

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Quarlen {

/// Number of a kind of vehicle report, 0xFFFFFFFF for a text that names none.
std::uint32_t reportTypeFromText(const std::wstring& text);

/// The texts that the table has.
std::vector<std::wstring_view> reportTypeTexts();

} // namespace Quarlen

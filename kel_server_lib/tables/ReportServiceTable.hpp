#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Quarlen {

/// Bit of a service that a vehicle report can contain, all bits for a text that names none.
std::uint32_t reportServiceFromText(const std::wstring& text);

/// The texts that the table has.
std::vector<std::wstring_view> reportServiceTexts();

} // namespace Quarlen

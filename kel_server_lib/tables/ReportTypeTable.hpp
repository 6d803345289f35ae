#pragma once

#include <cstdint>
#include <string>

namespace Quarlen {

/// Number of a kind of vehicle report, 0xFFFFFFFF for a text that names none.
std::uint32_t reportTypeFromText(const std::wstring& text);

} // namespace Quarlen

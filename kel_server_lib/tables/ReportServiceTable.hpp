#pragma once

#include <cstdint>
#include <string>

namespace Quarlen {

/// Bit of a service that a vehicle report can contain, all bits for a text that names none.
std::uint32_t reportServiceFromText(const std::wstring& text);

} // namespace Quarlen

#pragma once

#include <cstdint>
#include <string>

namespace Quarlen {

/// Bit of the DTC status byte (ISO 14229-1, D.2) for its text, 0 for "Empty", all bits for a text
/// that names none.
std::uint32_t dtcStatusFromText(const std::wstring& text);

} // namespace Quarlen

#pragma once

#include <cstdint>
#include <sstream>
#include <string>

#include "uds/Uds.hpp"

namespace Quarlen::Tests {

/// "22 F1 90" as bytes.
inline Uds::Bytes hex(const std::string& text) {
    Uds::Bytes bytes;
    std::istringstream stream(text);
    for (unsigned value = 0; stream >> std::hex >> value;) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

/// The other way round, so that a failed comparison is readable.
inline std::string hex(const Uds::Bytes& bytes) {
    const auto wide = Uds::hexText(bytes);
    std::string text;
    for (const auto unit : wide) {
        text.push_back(static_cast<char>(unit));
    }
    return text;
}

} // namespace Quarlen::Tests

#pragma once

#include <cstdint>
#include <limits>

#include "uds/Identifiers.hpp"
#include "xml/File.hpp"

/// Attributes of a project file that unlocks and flash items have in common.
namespace Quarlen::Kel_cpp {

/// Four bytes. Throws `Xml::FileError`.
inline std::uint32_t readWord(const Xml::File& file, const pugi::xml_node& node,
                              const char* attribute) {
    return static_cast<std::uint32_t>(
        file.number(node, attribute, 0, std::numeric_limits<std::uint32_t>::max()));
}

/// Odd levels ask for a seed, even ones send the key (ISO 14229-1 clause 10.4). Throws
/// `Xml::FileError`.
inline std::uint8_t readSecurityLevel(const Xml::File& file, const pugi::xml_node& node,
                                      const char* attribute) {
    const auto level = file.number(node, attribute, 1, Uds::maxSecurityLevel, 1);
    if (level % 2 == 0) {
        file.failValue(node, attribute, L"an odd security level");
    }
    return static_cast<std::uint8_t>(level);
}

} // namespace Quarlen::Kel_cpp

#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace Quarlen::Platform {

/// Eight hexadecimal digits that stand for a name, the same in every build (FNV-1a, 32 bits).
inline std::string nameHash(std::string_view name) {
    constexpr std::uint64_t prime = 16777619;
    constexpr std::uint64_t mask = 0xFFFFFFFF;
    std::uint64_t hash = 2166136261;
    for (const char byte : name) {
        hash = ((hash ^ static_cast<unsigned char>(byte)) * prime) & mask;
    }
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), hash, 16).ptr;
    const std::string shown(digits.data(), end);
    return std::string(digits.size() - shown.size(), '0') + shown;
}

} // namespace Quarlen::Platform

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

namespace Quarlen::Platform {

using Sha256Digest = std::array<std::uint8_t, 32>;

/// SHA-256 (FIPS 180-4) by the system's own library, of bytes that come piece by piece. Each
/// function throws `std::runtime_error` when the system cannot make one.
class Sha256 {
public:
    Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    ~Sha256();

    void add(std::string_view bytes);
    /// Of all bytes so far; nothing can be added afterwards.
    [[nodiscard]] Sha256Digest finish();

private:
    struct System;
    std::unique_ptr<System> system;
};

/// Of all bytes at once. Throws `std::runtime_error`.
[[nodiscard]] inline Sha256Digest sha256(std::string_view bytes) {
    Sha256 hash;
    hash.add(bytes);
    return hash.finish();
}

} // namespace Quarlen::Platform

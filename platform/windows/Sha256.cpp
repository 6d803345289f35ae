#include "platform/Sha256.hpp"

#include <stdexcept>

// The second header needs the first.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

namespace Quarlen::Platform {

namespace {

constexpr NTSTATUS success = 0;

/// Throws `std::runtime_error`.
class Algorithm {
public:
    Algorithm() {
        if (::BCryptOpenAlgorithmProvider(&handle, BCRYPT_SHA256_ALGORITHM, nullptr, 0) !=
            success) {
            throw std::runtime_error("the system cannot make a SHA-256");
        }
    }
    Algorithm(const Algorithm&) = delete;
    Algorithm& operator=(const Algorithm&) = delete;
    ~Algorithm() { ::BCryptCloseAlgorithmProvider(handle, 0); }

    BCRYPT_ALG_HANDLE handle = nullptr;
};

} // namespace

std::array<std::uint8_t, 32> sha256(std::string_view bytes) {
    const Algorithm algorithm;
    std::array<std::uint8_t, 32> digest{};
    auto* const input = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
    if (::BCryptHash(algorithm.handle, nullptr, 0, input, static_cast<ULONG>(bytes.size()),
                     digest.data(), digest.size()) != success) {
        throw std::runtime_error("the system cannot make a SHA-256");
    }
    return digest;
}

} // namespace Quarlen::Platform

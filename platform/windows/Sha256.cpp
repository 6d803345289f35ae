#include "platform/Sha256.hpp"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

// The second header needs the first.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

namespace Quarlen::Platform {
namespace {

/// The system counts in 32 bits.
constexpr std::size_t pieceSize = std::size_t{1} << 30U;

void requireHash(NTSTATUS status) {
    if (status < 0) {
        throw std::runtime_error("the system cannot make a SHA-256");
    }
}

} // namespace

struct Sha256::System {
    System() = default;
    System(const System&) = delete;
    System& operator=(const System&) = delete;
    ~System() {
        if (hash != nullptr) {
            ::BCryptDestroyHash(hash);
        }
        if (algorithm != nullptr) {
            ::BCryptCloseAlgorithmProvider(algorithm, 0);
        }
    }

    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
};

Sha256::Sha256() : system(std::make_unique<System>()) {
    requireHash(
        ::BCryptOpenAlgorithmProvider(&system->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    requireHash(::BCryptCreateHash(system->algorithm, &system->hash, nullptr, 0, nullptr, 0, 0));
}

Sha256::~Sha256() = default;

void Sha256::add(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t size = std::min(bytes.size(), pieceSize);
        auto* const piece = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
        requireHash(::BCryptHashData(system->hash, piece, static_cast<ULONG>(size), 0));
        bytes.remove_prefix(size);
    }
}

Sha256Digest Sha256::finish() {
    Sha256Digest digest{};
    requireHash(::BCryptFinishHash(system->hash, digest.data(), digest.size(), 0));
    return digest;
}

} // namespace Quarlen::Platform

#include "platform/Sha256.hpp"

#include <openssl/evp.h>
#include <stdexcept>

namespace Quarlen::Platform {

std::array<std::uint8_t, 32> sha256(std::string_view bytes) {
    std::array<std::uint8_t, 32> digest{};
    unsigned size = digest.size();
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("the system cannot make a SHA-256");
    }
    return digest;
}

} // namespace Quarlen::Platform

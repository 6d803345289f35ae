#include "platform/Sha256.hpp"

#include <openssl/evp.h>
#include <stdexcept>

namespace Quarlen::Platform {
namespace {

void requireHash(bool succeeded) {
    if (!succeeded) {
        throw std::runtime_error("the system cannot make a SHA-256");
    }
}

} // namespace

struct Sha256::System {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(),
                                                                    &EVP_MD_CTX_free};
};

Sha256::Sha256() : system(std::make_unique<System>()) {
    requireHash(system->context != nullptr &&
                EVP_DigestInit_ex(system->context.get(), EVP_sha256(), nullptr) == 1);
}

Sha256::~Sha256() = default;

void Sha256::add(std::string_view bytes) {
    requireHash(EVP_DigestUpdate(system->context.get(), bytes.data(), bytes.size()) == 1);
}

Sha256Digest Sha256::finish() {
    Sha256Digest digest{};
    requireHash(EVP_DigestFinal_ex(system->context.get(), digest.data(), nullptr) == 1);
    return digest;
}

} // namespace Quarlen::Platform

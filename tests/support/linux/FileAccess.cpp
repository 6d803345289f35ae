#include "tests/support/FileAccess.hpp"

namespace Quarlen::Tests {

namespace {

using std::filesystem::perms;

constexpr perms ownerOnly = perms::owner_read | perms::owner_write;

} // namespace

void makePrivate(const std::filesystem::path& file) {
    std::filesystem::permissions(file, ownerOnly);
}

void makeReadableByAll(const std::filesystem::path& file) {
    std::filesystem::permissions(file, ownerOnly | perms::others_read);
}

} // namespace Quarlen::Tests

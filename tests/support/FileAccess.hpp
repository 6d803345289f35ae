#pragma once

#include <filesystem>

namespace Quarlen::Tests {

/// Only the file's owner can read it from now on.
void makePrivate(const std::filesystem::path& file);
/// Every user can read the file from now on.
void makeReadableByAll(const std::filesystem::path& file);

} // namespace Quarlen::Tests

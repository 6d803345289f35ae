#pragma once

#include <filesystem>

namespace Quarlen::Platform {

/// Whether nobody but its owner (and who administers the system) can read the file. False for a
/// file that is missing or cannot be asked.
[[nodiscard]] bool isPrivate(const std::filesystem::path& file) noexcept;

} // namespace Quarlen::Platform

#pragma once

#include <filesystem>
#include <string_view>

namespace Quarlen::Platform {

/// Adds to the end of a file that only its owner, and who administers the system, can read; makes
/// it where it is missing, so from its first byte. An existing file is made private before anything
/// is added. Throws `std::system_error`.
void appendPrivately(const std::filesystem::path& file, std::string_view content);

} // namespace Quarlen::Platform

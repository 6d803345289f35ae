#pragma once

#include <filesystem>
#include <string_view>

namespace Quarlen::Platform {

/// Replaces the file's content in one step: writes a new file beside it, flushes it to the disk and
/// renames it over the old one. Readers see the old or the new content, never a mixture, also after
/// a power failure. Keeps the permissions of a file that exists. Throws `std::system_error`; then
/// the old file is untouched and the new one removed.
void replaceFile(const std::filesystem::path& target, std::string_view content);

} // namespace Quarlen::Platform

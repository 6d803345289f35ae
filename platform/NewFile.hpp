#pragma once

#include <filesystem>
#include <string_view>

namespace Quarlen::Platform {

/// Makes a file that did not exist before and flushes it to the disk. False when the name is taken
/// already: of several writers that race for one name exactly one gets it. Throws
/// `std::system_error`; then the unfinished file is removed.
bool createNewFile(const std::filesystem::path& file, std::string_view content);

} // namespace Quarlen::Platform

#pragma once

#include <filesystem>

namespace Quarlen::Platform {

/// Returns once the content of an existing file is on the disk. Throws `std::system_error`.
void flushFile(const std::filesystem::path& file);

} // namespace Quarlen::Platform

#pragma once

#include <filesystem>

#include "platform/Clock.hpp"

namespace Quarlen::Platform {

/// Returns once the content of an existing file is on the disk. Where another program can
/// keep it from that by having the file open, it is tried again for a moment. Throws
/// `std::system_error`.
void flushFile(const std::filesystem::path& file, Clock& clock = systemClock());

} // namespace Quarlen::Platform

#pragma once

#include <filesystem>

namespace Quarlen::Platform {

/// True when a regular file could have this path: every component is a name that the system takes,
/// the path is not too long, and it does not end as a folder does (separator, "." or "..").
/// Nothing is looked up.
bool couldNameFile(const std::filesystem::path& path);

} // namespace Quarlen::Platform

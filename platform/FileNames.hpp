#pragma once

#include <filesystem>

namespace Quarlen::Platform {

/// True when a regular file could have this path: every component is a name that the system takes,
/// the path is not too long, and it does not end as a folder does (separator, "." or "..").
/// Nothing is looked up.
bool couldNameFile(const std::filesystem::path& path);

/// False where the system would open something else than what the path spells: Windows takes dots
/// and blanks at the end of a name away, and takes "a.zip:b" for a stream of "a.zip", "nul.txt" for
/// a device. "." and ".." count as spelled. Nothing is looked up.
bool isTakenLiterally(const std::filesystem::path& path);

/// Compares names in one folder as the file system does, on Windows without regard to case.
bool isSameFileName(const std::filesystem::path& left, const std::filesystem::path& right);

} // namespace Quarlen::Platform

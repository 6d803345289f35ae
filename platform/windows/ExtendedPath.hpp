#pragma once

#include <filesystem>
#include <string>

namespace Quarlen::Platform {

/// What the system's calls for files take at every length, whatever the machine's settings say. A
/// path that is short enough for all of them is given as it is; so is what names a device.
std::wstring extendedPath(const std::filesystem::path& path);

/// The absolute path, `.` and `..` resolved, by the system; empty when it gives none, and then
/// `GetLastError` tells the cause.
std::wstring fullPath(const std::filesystem::path& path);

} // namespace Quarlen::Platform

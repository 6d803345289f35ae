#pragma once

#include <filesystem>

#include "platform/Clock.hpp"

namespace Quarlen::Platform {

/// Each throws `std::system_error` unless it says otherwise, and takes paths of every length that
/// the system has.

/// Makes the folder with those that it lies in; one that exists stays as it is.
void createFolders(const std::filesystem::path& folder);

/// A file that exists at the target gives way. On Windows the attempt is repeated for a while where
/// somebody has one of the files open.
void copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
              Clock& clock = systemClock());
/// A file that exists at the target gives way.
void renameFile(const std::filesystem::path& from, const std::filesystem::path& to);

/// Does nothing where there is none, and where it cannot be removed.
void removeFile(const std::filesystem::path& file) noexcept;

/// Removes a folder with its content; links in it, not what they lead to. What cannot be removed
/// stays.
void removeFolder(const std::filesystem::path& folder) noexcept;

} // namespace Quarlen::Platform

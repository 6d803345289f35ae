#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <system_error>

namespace Quarlen::Platform {

enum class FileKind {
    Missing,
    /// It cannot be told, or there is something that may not be looked at.
    Unknown,
    Regular,
    Folder,
    /// A device, a pipe: opening it may block, reading it may never end.
    Other
};

/// Of the file that a path leads to, links followed.
struct FileFacts {
    FileKind kind = FileKind::Unknown;
    std::uint64_t size = 0;
    std::chrono::system_clock::time_point written{};
};

/// A link's own size never counts. Sets `failure` also when the file is missing. Does not read, and
/// does not wait for, anything that is no regular file or folder.
FileFacts fileFacts(const std::filesystem::path& path, std::error_code& failure);

/// Whether the path itself is a link to a file or a folder, or a junction.
bool isLink(const std::filesystem::path& path);

bool isRegularFile(const std::filesystem::path& path);
bool isFolder(const std::filesystem::path& path);
/// False also where it cannot be told.
bool isThere(const std::filesystem::path& path);

} // namespace Quarlen::Platform

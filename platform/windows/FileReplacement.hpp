#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>

#include "platform/Clock.hpp"

namespace Quarlen::Platform {

/// A number of the system's errors, 0 for success.
using WindowsError = std::uint32_t;

/// For how long an attempt is repeated while somebody has one of the files open: programs that read
/// it, virus scanners.
constexpr std::chrono::milliseconds maxReplacementTime{5000};

/// Makes the attempt again while it fails because somebody has a file open, but not for longer than
/// that.
WindowsError repeatWhileInUse(const std::function<WindowsError()>& attempt, Clock& clock);

/// The calls of the system by which a file gets the place of another one. `ReplaceFileW` is none of
/// them: it renames the target away before it renames the file, so that for a moment there is no
/// target, leaves files of its own behind when it fails, and not every file system knows it.
struct ReplacementCalls {
    using Path = std::filesystem::path;

    /// `MoveFileExW`, over an existing file, in one step.
    std::function<WindowsError(const Path& file, const Path& target)> move;
    /// `GetFileAttributesW`.
    std::function<std::uint32_t(const Path& file)> attributes;
};

ReplacementCalls systemReplacementCalls();

/// Why that file cannot be replaced, however long one waits: it is read-only, or a folder.
WindowsError refusalOf(const std::filesystem::path& target,
                       const ReplacementCalls& calls = systemReplacementCalls());

/// Gives the file another name and replaces the file that has it; it keeps its own permissions.
/// Does not wait for a target that is refused.
WindowsError moveFileOver(const std::filesystem::path& file, const std::filesystem::path& target,
                          Clock& clock, const ReplacementCalls& calls = systemReplacementCalls());

} // namespace Quarlen::Platform

#pragma once

#include <filesystem>
#include <string_view>

#include "platform/Clock.hpp"

namespace Quarlen::Platform {

/// Replaces the file's content in one step: writes a new file beside it, flushes it to the disk and
/// renames it over the old one. Readers see the old or the new content, never a mixture, also after
/// a power failure. Keeps the permissions of a file that exists, where the file system can. Throws
/// `std::system_error`; then the old file is untouched and the new one removed.
///
/// Where an open file cannot be replaced, this one and `moveOver` try again for a moment while
/// somebody has it open; a file that must not be written is refused at once. What a process that
/// was killed has left is for `settleUnfinishedFiles`.
void replaceFile(const std::filesystem::path& target, std::string_view content,
                 Clock& clock = systemClock());

/// Gives the file another name in the same file system, in one step, and replaces the file that has
/// it. Throws `std::system_error`; then both are as before.
void moveOver(const std::filesystem::path& file, const std::filesystem::path& target,
              Clock& clock = systemClock());

/// The file that a symbolic link stands for, also where it is missing; any other file is its own.
/// Throws `std::system_error`.
std::filesystem::path followLinks(std::filesystem::path file);

} // namespace Quarlen::Platform

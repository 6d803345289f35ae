#pragma once

#include <cstdint>
#include <string>

#include "std_util/PathString.hpp"

namespace StdUtil::FileTool {

/// True for regular files only (links followed).
bool exists(const PathString& path);
bool existsAndIsNotEmpty(const PathString& path);

/// The whole regular file, byte for byte. Throws `std::system_error`, which names the file, when
/// it cannot be read.
std::string readFile(const PathString& path);

/// Directory removed. Both separators count on Windows.
std::wstring fileNameFromPath(const PathString& path);

/// True when the text could name a file on this platform.
bool isFilePathValid(const PathString& path);

/// Kind of file by its name's ending, letter case ignored; one table.
inline constexpr std::int32_t fileTypeUnknown = 0;
inline constexpr std::int32_t fileTypePdx = 18;
inline constexpr std::int32_t fileTypeZip = 103;
std::int32_t getFileType(const PathString& path);

} // namespace StdUtil::FileTool

#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string_view>

namespace Xml {

/// Hands the bytes of a regular file to `take` in parts, on the calling thread, so that only a
/// small piece of it is in memory. Reads to the end, whatever size the file announces. Throws
/// `Fault` when the file is no regular one, cannot be read or has more than `maxSize` bytes.
void readFile(const std::filesystem::path& file, std::size_t maxSize,
              const std::function<void(std::string_view part)>& take);

} // namespace Xml

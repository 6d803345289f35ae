#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Quarlen::Platform {

/// Strict UTF-8 conversion. `std::wstring` holds UTF-16 on Windows and UTF-32 on Linux. Malformed
/// input (an overlong form, a lone surrogate, a value above U+10FFFF) gives the empty text.
std::string toUtf8(std::wstring_view text);
std::wstring fromUtf8(std::string_view text);

/// A path from the program's own text and back. A path whose bytes are no valid text gives the
/// empty text; a text that is malformed or holds a null character gives the empty path.
std::filesystem::path toPath(std::wstring_view text);
std::wstring fromPath(const std::filesystem::path& path);

} // namespace Quarlen::Platform

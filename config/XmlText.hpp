#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace Config {

/// Larger files are refused.
inline constexpr std::size_t maximumFileSize = std::size_t{64} * 1024 * 1024;

/// The bytes of a regular file. Throws `FileError` for anything else, for a file that cannot be
/// read and for one that is too large.
std::string readXmlBytes(const std::filesystem::path& file);

/// The text in UTF-8 without byte order mark. Understands UTF-8, UTF-16 with byte order mark and,
/// where the XML declaration says so, US-ASCII and ISO-8859-1; throws `FileError` for another
/// encoding. Bytes that are no text in their encoding come out as invalid UTF-8 in their place.
std::string decodeXml(std::string bytes);

/// Throws `FileError` for invalid UTF-8 and for control characters that XML does not allow
/// (XML 1.0, clause 2.2).
void checkCharacters(std::string_view text);

/// Both from 1; columns count characters.
struct TextPosition {
    std::size_t line = 1;
    std::size_t column = 1;
};
TextPosition positionOf(std::string_view text, std::size_t offset);

} // namespace Config

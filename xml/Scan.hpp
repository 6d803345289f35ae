#pragma once

#include <cstddef>
#include <string_view>

/// Finds the pieces of an element in the text of a well-formed XML file. All offsets are bytes.
namespace Xml::Scan {

/// From `begin` up to, not including, `end`.
struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// Where the parts of an element lie. `tagEnd` is behind the start tag's ">"; an empty element has
/// `selfClosing` set and `content` empty behind its tag.
struct Element {
    std::size_t tagEnd = 0;
    bool selfClosing = false;
    Range content;
};

/// Whether the byte of a text in UTF-8 is the first one of its character.
constexpr bool beginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

inline constexpr std::string_view blanks = " \t\r\n";

/// The value between the quotes of the attribute whose name begins at `nameOffset`.
Range attributeValue(std::string_view text, std::size_t nameOffset);

/// The element whose "<" stands at `offset`.
Element element(std::string_view text, std::size_t offset);

/// The text after the last line end.
std::string_view lastLine(std::string_view text);

/// The blanks before `offset` in its line; empty when the line has other text before `offset`.
std::string_view indentation(std::string_view text, std::size_t offset);

} // namespace Xml::Scan

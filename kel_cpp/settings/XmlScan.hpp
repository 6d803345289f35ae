#pragma once

#include <cstddef>
#include <string_view>

/// Finds the pieces of an element in the text of a well-formed XML file. All offsets are bytes.
namespace Quarlen::Kel_cpp::XmlScan {

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

inline constexpr std::string_view blanks = " \t\r\n";

/// The value between the quotes of the attribute whose name begins at `nameOffset`.
Range attributeValue(std::string_view text, std::size_t nameOffset);

/// The element whose "<" stands at `offset`.
Element element(std::string_view text, std::size_t offset);

/// What stands between the last line end and the end of `text`.
std::string_view lastLine(std::string_view text);

/// Blanks between the line's beginning and `offset`, when there is nothing else; else empty.
std::string_view indentation(std::string_view text, std::size_t offset);

} // namespace Quarlen::Kel_cpp::XmlScan

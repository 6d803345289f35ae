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

/// Blanks between the line's beginning and `offset`, when there is nothing else; else empty.
std::string_view indentation(std::string_view text, std::size_t offset);

/// First "&" in `text` that begins no character reference and none of the five predefined entities;
/// `npos` when all are right.
std::size_t findBadReference(std::string_view text);

} // namespace Quarlen::Kel_cpp::XmlScan

#include "xml/Scan.hpp"

#include <algorithm>

namespace Xml::Scan {

namespace {

/// A text that ends early cannot come from a checked file; its end then stands for what is missing.
std::size_t behind(std::string_view text, std::string_view wanted, std::size_t from) {
    const auto found = text.find(wanted, from);
    return found == std::string_view::npos ? text.size() : found + wanted.size();
}

/// Behind the ">" of the tag at `offset`; a ">" in an attribute's value does not count.
std::size_t endOfTag(std::string_view text, std::size_t offset) {
    while (offset < text.size() && text[offset] != '>') {
        const char character = text[offset];
        const bool quoted = character == '"' || character == '\'';
        offset = quoted ? behind(text, text.substr(offset, 1), offset + 1) : offset + 1;
    }
    return std::min(offset + 1, text.size());
}

/// Behind the comment, character data, instruction or tag at `offset`.
std::size_t endOfMarkup(std::string_view text, std::size_t offset) {
    const auto rest = text.substr(offset);
    if (rest.starts_with("<!--")) {
        return behind(text, "-->", offset + 4);
    }
    if (rest.starts_with("<![CDATA[")) {
        return behind(text, "]]>", offset);
    }
    if (rest.starts_with("<?")) {
        return behind(text, "?>", offset);
    }
    return endOfTag(text, offset);
}

bool isStartTag(std::string_view markup) {
    return !markup.starts_with("<!") && !markup.starts_with("<?") && !markup.ends_with("/>");
}

/// Offset of the end tag that belongs to the content that begins at `offset`.
std::size_t endTag(std::string_view text, std::size_t offset) {
    std::size_t depth = 0;
    for (offset = text.find('<', offset); offset < text.size(); offset = text.find('<', offset)) {
        const auto end = endOfMarkup(text, offset);
        const auto markup = text.substr(offset, end - offset);
        if (markup.starts_with("</")) {
            if (depth == 0) {
                return offset;
            }
            --depth;
        } else if (isStartTag(markup)) {
            ++depth;
        }
        offset = end;
    }
    return text.size();
}

} // namespace

Range attributeValue(std::string_view text, std::size_t nameOffset) {
    const auto open = std::min(text.find_first_of("\"'", nameOffset), text.size() - 1);
    return {open + 1, std::min(text.find(text[open], open + 1), text.size())};
}

Element element(std::string_view text, std::size_t offset) {
    const auto tagEnd = endOfTag(text, offset);
    if (text.substr(0, tagEnd).ends_with("/>")) {
        return {tagEnd, true, {tagEnd, tagEnd}};
    }
    return {tagEnd, false, {tagEnd, endTag(text, tagEnd)}};
}

std::string_view lastLine(std::string_view text) {
    const auto lineEnd = text.rfind('\n');
    return lineEnd == std::string_view::npos ? text : text.substr(lineEnd + 1);
}

std::string_view indentation(std::string_view text, std::size_t offset) {
    const auto line = lastLine(text.substr(0, offset));
    return line.find_first_not_of(" \t") == std::string_view::npos ? line : std::string_view();
}

} // namespace Xml::Scan

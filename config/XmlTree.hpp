#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <pugixml.hpp>

namespace Config {

/// The elements of a file. Stricter than the parser alone: exactly one root element, no text beside
/// it, no attribute twice, at most `maximumDepth` elements inside each other and `maximumTags` in
/// all, which bounds the memory that a file can ask for. Document type declarations are skipped
/// and their entities never expanded.
class XmlTree {
public:
    static constexpr std::size_t maximumDepth = 256;
    static constexpr std::size_t maximumTags = 4'000'000;

    /// `text` as `decodeXml` returns it. Throws `FileError`.
    explicit XmlTree(std::string_view text);

    [[nodiscard]] pugi::xml_node root() const { return rootElement; }

private:
    pugi::xml_document document;
    pugi::xml_node rootElement;
};

/// Where a node or, for an attribute, its element stands.
std::size_t offsetOf(const pugi::xml_node& node);

} // namespace Config

#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include <pugixml.hpp>

#include "xml/Limits.hpp"

namespace Xml {

/// The text of one XML file together with its tree and the way back from the tree to places in the
/// text, for messages and for edits that leave the rest of the text alone.
///
/// The tree's own parser is lenient, so the text is first checked against the XML standard: a
/// typing error is refused and never read as something else.
class Source {
public:
    /// The whole file. Throws `FileError` when it cannot be read, is no
    /// regular file or too large.
    static std::string load(const std::filesystem::path& file, const Limits& limits);

    /// `file` is only named in messages; `limits` come from `limitsOfTree`. Throws `FileError`.
    Source(std::filesystem::path file, std::string content, const Limits& limits);

    [[nodiscard]] const pugi::xml_document& tree() const { return *document; }
    [[nodiscard]] const std::string& text() const { return source; }

    /// Offset of the element's "<", of the attribute's name, of the text's first visible character.
    [[nodiscard]] std::size_t offsetOf(const pugi::xml_node& element) const;
    [[nodiscard]] std::size_t offsetOf(const pugi::xml_node& element,
                                       const pugi::xml_attribute& attribute) const;
    [[nodiscard]] std::size_t offsetOfText(const pugi::xml_node& textNode) const;

    /// Always throws `FileError`: "file:line:column: message". Columns
    /// count characters, not bytes.
    [[noreturn]] void failAt(std::size_t offset, const std::wstring& message) const;

private:
    void parse(const Limits& limits);

    std::filesystem::path path;
    std::string source;
    std::unique_ptr<pugi::xml_document> document;
};

} // namespace Xml

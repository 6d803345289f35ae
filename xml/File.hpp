#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

#include "xml/Source.hpp"

namespace Xml {

/// What `File::number` takes: decimal, or hexadecimal with "0x", with blanks around. Nothing for
/// any other text and outside `min` to `max`.
[[nodiscard]] std::optional<std::uint64_t> numberIn(std::string_view text, std::uint64_t min,
                                                    std::uint64_t max);

/// Checked access to the elements and attributes of one XML file. The readers of the runtime's
/// files and of the vehicle file get their values through it. It owns the `Source` (text and tree),
/// so that every failure throws `FileError` with "file:line:column: message". A file is not changed
/// after construction.
class File {
public:
    /// Fails when the file cannot be read, is beyond `limits`, is no well-formed XML in UTF-8, or
    /// its root is not `rootElement`.
    File(const std::filesystem::path& file, std::string_view rootElement, const Limits& limits);
    /// The same for a text that is the present or future content of `file`.
    File(const std::filesystem::path& file, std::string text, std::string_view rootElement,
         const Limits& limits);

    [[nodiscard]] pugi::xml_node root() const;
    [[nodiscard]] const Source& source() const { return xml; }

    [[noreturn]] void fail(const pugi::xml_node& place, const std::wstring& message) const;
    /// Reports the place of the attribute, or of the element when it has no such attribute.
    [[noreturn]] void failAttribute(const pugi::xml_node& node, const char* attribute,
                                    const std::wstring& message) const;

    /// `attribute "x" is "value", expected ...`.
    [[noreturn]] void failValue(const pugi::xml_node& node, const char* attribute,
                                const std::wstring& expected) const;

    /// Fails on a child element or an attribute that is not in the list, and on text between the
    /// child elements. With an empty list of elements text is allowed. An attribute that binds the
    /// root to a schema is always allowed.
    void allowOnly(const pugi::xml_node& node, std::initializer_list<std::string_view> elements,
                   std::initializer_list<std::string_view> attributes) const;
    /// Fails on every child element and every text, and on an attribute that is not in the list.
    void allowNoContent(const pugi::xml_node& node,
                        std::initializer_list<std::string_view> attributes) const;
    /// The same, with attributes of any name.
    void refuseContent(const pugi::xml_node& node) const;
    /// The child element of that name, null when there is none; fails when there are two.
    [[nodiscard]] pugi::xml_node singleChild(const pugi::xml_node& node, const char* element) const;

    /// Required attribute, not blank. Kept as it is, blanks at the ends included.
    [[nodiscard]] std::wstring requiredText(const pugi::xml_node& node,
                                            const char* attribute) const;
    /// Empty when the attribute is missing.
    [[nodiscard]] std::wstring optionalText(const pugi::xml_node& node,
                                            const char* attribute) const;
    /// "true", "false", "1" or "0".
    [[nodiscard]] bool flag(const pugi::xml_node& node, const char* attribute, bool fallback) const;
    /// Decimal, or hexadecimal with "0x"; fails outside `min` to `max`, and on a missing
    /// attribute when there is no fallback.
    [[nodiscard]] std::uint64_t number(const pugi::xml_node& node, const char* attribute,
                                       std::uint64_t min, std::uint64_t max,
                                       std::optional<std::uint64_t> fallback = {}) const;
    /// Required attribute: "0x" and exactly `digits` hexadecimal digits, so that a code of another
    /// length is refused.
    [[nodiscard]] std::uint64_t hexNumber(const pugi::xml_node& node, const char* attribute,
                                          std::size_t digits) const;
    /// Required attribute, "22 F1 90"; blanks between bytes are optional. Fails on anything else.
    [[nodiscard]] std::vector<std::uint8_t> bytes(const pugi::xml_node& node,
                                                  const char* attribute) const;

    /// Text between the tags, blanks at both ends removed; fails on child elements.
    [[nodiscard]] std::wstring content(const pugi::xml_node& node) const;
    /// The number between the tags, as `number`.
    [[nodiscard]] std::uint64_t contentNumber(const pugi::xml_node& node, std::uint64_t min,
                                              std::uint64_t max) const;

private:
    [[noreturn]] void failMissing(const pugi::xml_node& node, const char* attribute) const;
    void allowAttributes(const pugi::xml_node& node,
                         std::initializer_list<std::string_view> attributes) const;
    void refuseText(const pugi::xml_node& node) const;

    Source xml;
};

} // namespace Xml

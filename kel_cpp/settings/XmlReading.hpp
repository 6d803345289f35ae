#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "kel_cpp/settings/XmlSource.hpp"
#include "kel_cpp/uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

/// An XML file together with what is needed to say where in it something is wrong. All three of the
/// runtime's formats are read through it. Everything that fails throws `KelApiException` (code
/// Configuration) with "file:line:column: message".
class XmlFile {
public:
    /// Fails when the file cannot be read, is larger than 16 MiB, is nested deeper than 256, is no
    /// well-formed XML in UTF-8, or its root is not `rootElement`.
    XmlFile(const std::filesystem::path& file, std::string_view rootElement);
    /// The same for a text that is, or is going to be, what `file` holds.
    XmlFile(const std::filesystem::path& file, std::string text, std::string_view rootElement);

    [[nodiscard]] pugi::xml_node root() const;
    [[nodiscard]] const XmlSource& source() const { return xml; }

    [[noreturn]] void fail(const pugi::xml_node& place, const std::wstring& message) const;
    /// Names the attribute's place, or the element's when it has no such attribute.
    [[noreturn]] void failAttribute(const pugi::xml_node& node, const char* attribute,
                                    const std::wstring& message) const;

    /// "attribute 'x' is 'value', expected ...".
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
    /// Decimal, or hexadecimal with "0x"; fails outside `minimum` to `maximum`, and on a missing
    /// attribute when there is no fallback.
    [[nodiscard]] std::uint64_t number(const pugi::xml_node& node, const char* attribute,
                                       std::uint64_t minimum, std::uint64_t maximum,
                                       std::optional<std::uint64_t> fallback = {}) const;
    /// Required attribute, "22 F1 90"; blanks between bytes are optional. Fails on anything else.
    [[nodiscard]] Uds::Bytes bytes(const pugi::xml_node& node, const char* attribute) const;

    /// Text between the tags, blanks at both ends removed; fails on child elements.
    [[nodiscard]] std::wstring content(const pugi::xml_node& node) const;
    /// The number between the tags, as `number`.
    [[nodiscard]] std::uint64_t contentNumber(const pugi::xml_node& node, std::uint64_t minimum,
                                              std::uint64_t maximum) const;

private:
    [[noreturn]] void failMissing(const pugi::xml_node& node, const char* attribute) const;
    void allowAttributes(const pugi::xml_node& node,
                         std::initializer_list<std::string_view> attributes) const;
    void refuseText(const pugi::xml_node& node) const;

    XmlSource xml;
};

} // namespace Quarlen::Kel_cpp

#include "kel_cpp/settings/XmlReading.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include "kel_cpp/settings/XmlScan.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(XmlScan::blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(XmlScan::blanks) - begin + 1);
}

/// For messages, which must stay readable whatever the file holds.
std::wstring inQuotes(std::string_view text) {
    constexpr std::size_t longest = 60;
    const auto wide = Platform::fromUtf8(text);
    return L"'" + (wide.size() > longest ? wide.substr(0, longest) + L"..." : wide) + L"'";
}

std::wstring joined(std::initializer_list<std::string_view> names) {
    std::wstring text;
    for (const auto name : names) {
        text += (text.empty() ? L"" : L", ") + Platform::fromUtf8(name);
    }
    return text.empty() ? L"none" : text;
}

bool contains(std::initializer_list<std::string_view> names, std::string_view wanted) {
    return std::find(names.begin(), names.end(), wanted) != names.end();
}

bool bindsSchema(std::string_view attribute) {
    return contains({"xmlns:xsi", "xsi:noNamespaceSchemaLocation"}, attribute);
}

std::optional<std::uint64_t> parseNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const auto digits = text.substr(hexadecimal ? 2 : 0);
    std::uint64_t value = 0;
    const auto* const end = digits.data() + digits.size();
    const auto parsed = std::from_chars(digits.data(), end, value, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t minimum,
                                         std::uint64_t maximum) {
    const auto value = parseNumber(trimmed(text));
    return value && *value >= minimum && *value <= maximum ? value : std::nullopt;
}

std::wstring numberText(std::uint64_t minimum, std::uint64_t maximum) {
    return L"a number from " + std::to_wstring(minimum) + L" to " + std::to_wstring(maximum);
}

std::optional<bool> parseFlag(std::string_view text) {
    if (text == "true" || text == "1") {
        return true;
    }
    if (text == "false" || text == "0") {
        return false;
    }
    return std::nullopt;
}

/// Nothing when there is anything else than pairs of hexadecimal digits and blanks between them.
std::optional<Uds::Bytes> parseBytes(std::string_view text) {
    Uds::Bytes result;
    for (text = trimmed(text); !text.empty(); text = trimmed(text.substr(2))) {
        std::uint8_t value = 0;
        const auto* const end = text.data() + std::min<std::size_t>(2, text.size());
        const auto parsed = std::from_chars(text.data(), end, value, 16);
        if (parsed.ec != std::errc() || parsed.ptr != text.data() + 2) {
            return std::nullopt;
        }
        result.push_back(value);
    }
    return result;
}

std::string rawContent(const pugi::xml_node& node) {
    std::string text;
    for (const auto child : node.children()) {
        text += child.value();
    }
    return std::string(trimmed(text));
}

} // namespace

XmlFile::XmlFile(const std::filesystem::path& file, std::string_view rootElement)
    : XmlFile(file, XmlSource::load(file), rootElement) {}

XmlFile::XmlFile(const std::filesystem::path& file, std::string text, std::string_view rootElement)
    : xml(file, std::move(text)) {
    const auto found = root();
    if (found.name() != rootElement) {
        fail(found,
             L"root element " + inQuotes(found.name()) + L", expected " + inQuotes(rootElement));
    }
}

pugi::xml_node XmlFile::root() const {
    return xml.tree().document_element();
}

void XmlFile::fail(const pugi::xml_node& place, const std::wstring& message) const {
    xml.failAt(xml.offsetOf(place), message);
}

void XmlFile::failAttribute(const pugi::xml_node& node, const char* attribute,
                            const std::wstring& message) const {
    if (const auto found = node.attribute(attribute)) {
        xml.failAt(xml.offsetOf(node, found), message);
    }
    fail(node, message);
}

void XmlFile::failMissing(const pugi::xml_node& node, const char* attribute) const {
    fail(node, inQuotes(node.name()) + L" needs the attribute " + inQuotes(attribute));
}

void XmlFile::failValue(const pugi::xml_node& node, const char* attribute,
                        const std::wstring& expected) const {
    failAttribute(node, attribute,
                  L"attribute " + inQuotes(attribute) + L" is " +
                      inQuotes(node.attribute(attribute).value()) + L", expected " + expected);
}

void XmlFile::allowOnly(const pugi::xml_node& node,
                        std::initializer_list<std::string_view> elements,
                        std::initializer_list<std::string_view> attributes) const {
    allowAttributes(node, attributes);
    for (const auto child : node.children()) {
        if (child.type() == pugi::node_element && !contains(elements, child.name())) {
            fail(child, L"unknown element " + inQuotes(child.name()) + L" in " +
                            inQuotes(node.name()) + L", expected: " + joined(elements));
        }
    }
    if (elements.size() > 0) {
        refuseText(node);
    }
}

void XmlFile::allowNoContent(const pugi::xml_node& node,
                             std::initializer_list<std::string_view> attributes) const {
    allowOnly(node, {}, attributes);
    refuseText(node);
}

void XmlFile::allowAttributes(const pugi::xml_node& node,
                              std::initializer_list<std::string_view> attributes) const {
    for (const auto attribute : node.attributes()) {
        const bool schema = node == root() && bindsSchema(attribute.name());
        if (!schema && !contains(attributes, attribute.name())) {
            failAttribute(node, attribute.name(),
                          L"unknown attribute " + inQuotes(attribute.name()) + L" of " +
                              inQuotes(node.name()) + L", expected: " + joined(attributes));
        }
    }
}

void XmlFile::refuseText(const pugi::xml_node& node) const {
    for (const auto child : node.children()) {
        if (child.type() != pugi::node_element && !trimmed(child.value()).empty()) {
            xml.failAt(xml.offsetOfText(child), L"text " + inQuotes(trimmed(child.value())) +
                                                    L" in " + inQuotes(node.name()) +
                                                    L", expected no text");
        }
    }
}

pugi::xml_node XmlFile::singleChild(const pugi::xml_node& node, const char* element) const {
    const auto first = node.child(element);
    if (const auto second = first.next_sibling(element)) {
        fail(second, L"element " + inQuotes(element) + L" stands twice");
    }
    return first;
}

std::wstring XmlFile::requiredText(const pugi::xml_node& node, const char* attribute) const {
    const auto found = node.attribute(attribute);
    if (!found) {
        failMissing(node, attribute);
    }
    if (trimmed(found.value()).empty()) {
        failValue(node, attribute, L"a text");
    }
    return Platform::fromUtf8(found.value());
}

std::wstring XmlFile::optionalText(const pugi::xml_node& node, const char* attribute) const {
    return Platform::fromUtf8(node.attribute(attribute).value());
}

bool XmlFile::flag(const pugi::xml_node& node, const char* attribute, bool fallback) const {
    const auto found = node.attribute(attribute);
    if (!found) {
        return fallback;
    }
    const auto value = parseFlag(trimmed(found.value()));
    if (!value) {
        failValue(node, attribute, L"true or false");
    }
    return *value;
}

std::uint64_t XmlFile::number(const pugi::xml_node& node, const char* attribute,
                              std::uint64_t minimum, std::uint64_t maximum,
                              std::optional<std::uint64_t> fallback) const {
    const auto found = node.attribute(attribute);
    if (!found && fallback) {
        return *fallback;
    }
    if (!found) {
        failMissing(node, attribute);
    }
    const auto value = parseNumber(found.value(), minimum, maximum);
    if (!value) {
        failValue(node, attribute, numberText(minimum, maximum));
    }
    return *value;
}

Uds::Bytes XmlFile::bytes(const pugi::xml_node& node, const char* attribute) const {
    (void)requiredText(node, attribute);
    const auto value = parseBytes(node.attribute(attribute).value());
    if (!value) {
        failValue(node, attribute, L"bytes in hexadecimal such as '22 F1 90'");
    }
    return *value;
}

std::wstring XmlFile::content(const pugi::xml_node& node) const {
    for (const auto child : node.children()) {
        if (child.type() == pugi::node_element) {
            fail(child, L"unknown element " + inQuotes(child.name()) + L" in " +
                            inQuotes(node.name()) + L", expected a text");
        }
    }
    return Platform::fromUtf8(rawContent(node));
}

std::uint64_t XmlFile::contentNumber(const pugi::xml_node& node, std::uint64_t minimum,
                                     std::uint64_t maximum) const {
    (void)content(node);
    const auto text = rawContent(node);
    const auto value = parseNumber(text, minimum, maximum);
    if (!value) {
        fail(node, inQuotes(node.name()) + L" is " + inQuotes(text) + L", expected " +
                       numberText(minimum, maximum));
    }
    return *value;
}

} // namespace Quarlen::Kel_cpp

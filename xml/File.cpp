#include "xml/File.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/TextEncoding.hpp"
#include "xml/Quoting.hpp"
#include "xml/Scan.hpp"

namespace Xml {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(Scan::blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(Scan::blanks) - begin + 1);
}

std::wstring joined(std::initializer_list<std::string_view> names) {
    std::wstring text;
    for (const auto name : names) {
        text += (text.empty() ? L"" : L", ") + Quarlen::Platform::fromUtf8(name);
    }
    return text.empty() ? L"none" : text;
}

bool contains(std::initializer_list<std::string_view> names, std::string_view wanted) {
    return std::find(names.begin(), names.end(), wanted) != names.end();
}

/// What an editor writes so as to check the file against its schema.
bool bindsSchema(std::string_view attribute) {
    return attribute == "xsi:noNamespaceSchemaLocation";
}

/// Says nothing of the element.
bool declaresPrefix(std::string_view attribute) {
    return attribute.starts_with("xmlns:");
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

std::wstring numberText(std::uint64_t min, std::uint64_t max) {
    return L"a number from " + std::to_wstring(min) + L" to " + std::to_wstring(max);
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

/// Returns nothing unless the text consists of pairs of hexadecimal digits with optional blanks.
std::optional<std::vector<std::uint8_t>> parseBytes(std::string_view text) {
    std::vector<std::uint8_t> result;
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

std::optional<std::uint64_t> numberIn(std::string_view text, std::uint64_t min, std::uint64_t max) {
    const auto value = parseNumber(trimmed(text));
    return value && *value >= min && *value <= max ? value : std::nullopt;
}

File::File(const std::filesystem::path& file, std::string_view rootElement, const Limits& limits)
    : File(file, Source::load(file, limits), rootElement, limits) {}

File::File(const std::filesystem::path& file, std::string text, std::string_view rootElement,
           const Limits& limits)
    : xml(file, std::move(text), limits) {
    const auto found = root();
    if (found.name() != rootElement) {
        fail(found,
             L"root element " + inQuotes(found.name()) + L", expected " + inQuotes(rootElement));
    }
}

pugi::xml_node File::root() const {
    return xml.tree().document_element();
}

void File::fail(const pugi::xml_node& place, const std::wstring& message) const {
    xml.failAt(xml.offsetOf(place), message);
}

void File::failAttribute(const pugi::xml_node& node, const char* attribute,
                         const std::wstring& message) const {
    if (const auto found = node.attribute(attribute)) {
        xml.failAt(xml.offsetOf(node, found), message);
    }
    fail(node, message);
}

void File::failMissing(const pugi::xml_node& node, const char* attribute) const {
    fail(node, inQuotes(node.name()) + L" needs the attribute " + inQuotes(attribute));
}

void File::failValue(const pugi::xml_node& node, const char* attribute,
                     const std::wstring& expected) const {
    failAttribute(node, attribute,
                  L"attribute " + inQuotes(attribute) + L" is " +
                      inQuotes(node.attribute(attribute).value()) + L", expected " + expected);
}

void File::allowOnly(const pugi::xml_node& node, std::initializer_list<std::string_view> elements,
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

void File::allowNoContent(const pugi::xml_node& node,
                          std::initializer_list<std::string_view> attributes) const {
    allowOnly(node, {}, attributes);
    refuseText(node);
}

void File::refuseContent(const pugi::xml_node& node) const {
    for (const auto child : node.children()) {
        if (child.type() == pugi::node_element) {
            fail(child,
                 L"unexpected element " + inQuotes(child.name()) + L" in " + inQuotes(node.name()));
        }
    }
    refuseText(node);
}

void File::allowAttributes(const pugi::xml_node& node,
                           std::initializer_list<std::string_view> attributes) const {
    for (const auto attribute : node.attributes()) {
        const bool schema = node == root() && bindsSchema(attribute.name());
        if (!schema && !declaresPrefix(attribute.name()) &&
            !contains(attributes, attribute.name())) {
            failAttribute(node, attribute.name(),
                          L"unknown attribute " + inQuotes(attribute.name()) + L" of " +
                              inQuotes(node.name()) + L", expected: " + joined(attributes));
        }
    }
}

void File::refuseText(const pugi::xml_node& node) const {
    for (const auto child : node.children()) {
        if (child.type() != pugi::node_element && !trimmed(child.value()).empty()) {
            xml.failAt(xml.offsetOfText(child), L"text " + inQuotes(trimmed(child.value())) +
                                                    L" in " + inQuotes(node.name()) +
                                                    L", expected no text");
        }
    }
}

pugi::xml_node File::singleChild(const pugi::xml_node& node, const char* element) const {
    const auto first = node.child(element);
    if (const auto second = first.next_sibling(element)) {
        fail(second, L"element " + inQuotes(element) + L" stands twice");
    }
    return first;
}

std::wstring File::requiredText(const pugi::xml_node& node, const char* attribute) const {
    const auto found = node.attribute(attribute);
    if (!found) {
        failMissing(node, attribute);
    }
    if (trimmed(found.value()).empty()) {
        failValue(node, attribute, L"a text");
    }
    return Quarlen::Platform::fromUtf8(found.value());
}

std::wstring File::optionalText(const pugi::xml_node& node, const char* attribute) const {
    return Quarlen::Platform::fromUtf8(node.attribute(attribute).value());
}

bool File::flag(const pugi::xml_node& node, const char* attribute, bool fallback) const {
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

std::uint64_t File::number(const pugi::xml_node& node, const char* attribute, std::uint64_t min,
                           std::uint64_t max, std::optional<std::uint64_t> fallback) const {
    const auto found = node.attribute(attribute);
    if (!found && fallback) {
        return *fallback;
    }
    if (!found) {
        failMissing(node, attribute);
    }
    const auto value = numberIn(found.value(), min, max);
    if (!value) {
        failValue(node, attribute, numberText(min, max));
    }
    return *value;
}

std::uint64_t File::hexNumber(const pugi::xml_node& node, const char* attribute,
                              std::size_t digits) const {
    (void)requiredText(node, attribute);
    const auto text = trimmed(node.attribute(attribute).value());
    const auto value = parseNumber(text);
    if (!value || !text.starts_with("0x") || text.size() != 2 + digits) {
        failValue(node, attribute,
                  L"\"0x\" and " + std::to_wstring(digits) + L" hexadecimal digits");
    }
    return *value;
}

std::vector<std::uint8_t> File::bytes(const pugi::xml_node& node, const char* attribute) const {
    (void)requiredText(node, attribute);
    const auto value = parseBytes(node.attribute(attribute).value());
    if (!value) {
        failValue(node, attribute, L"bytes in hexadecimal such as \"22 F1 90\"");
    }
    return *value;
}

std::wstring File::content(const pugi::xml_node& node) const {
    for (const auto child : node.children()) {
        if (child.type() == pugi::node_element) {
            fail(child, L"unknown element " + inQuotes(child.name()) + L" in " +
                            inQuotes(node.name()) + L", expected a text");
        }
    }
    return Quarlen::Platform::fromUtf8(rawContent(node));
}

std::uint64_t File::contentNumber(const pugi::xml_node& node, std::uint64_t min,
                                  std::uint64_t max) const {
    (void)content(node);
    const auto text = rawContent(node);
    const auto value = numberIn(text, min, max);
    if (!value) {
        fail(node, inQuotes(node.name()) + L" is " + inQuotes(text) + L", expected " +
                       numberText(min, max));
    }
    return *value;
}

} // namespace Xml

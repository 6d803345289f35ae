#include "kel_cpp/settings/XmlEditing.hpp"

#include <algorithm>
#include <utility>

#include "kel_cpp/RuntimeError.hpp"
#include "kel_cpp/settings/XmlScan.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::string_view escapeFor(char character) {
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&apos;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    default:
        return {};
    }
}

/// Stands for the value between tags as well as between quotes of either kind.
std::string escaped(const std::wstring& value) {
    const auto utf8 = Platform::toUtf8(value);
    if (utf8.empty() && !value.empty()) {
        throw runtimeError(ErrorCode::Configuration, L"a value to be kept is no valid text");
    }
    std::string result;
    for (const char character : utf8) {
        const auto escape = escapeFor(character);
        if (escape.empty()) {
            result += character;
        } else {
            result += escape;
        }
    }
    return result;
}

std::string_view lineEnd(std::string_view text) {
    const auto feed = text.find('\n');
    const bool carriageReturn =
        feed != std::string_view::npos && feed > 0 && text[feed - 1] == '\r';
    return carriageReturn ? "\r\n" : "\n";
}

std::size_t trimmedEnd(std::string_view text, XmlScan::Range range) {
    const auto last = text.substr(0, range.end).find_last_not_of(XmlScan::blanks);
    return last == std::string_view::npos ? range.begin : std::max(range.begin, last + 1);
}

pugi::xml_node firstElement(const pugi::xml_node& node) {
    return node.find_child(
        [](const pugi::xml_node& child) { return child.type() == pugi::node_element; });
}

pugi::xml_node childAt(const pugi::xml_node& node, const ElementStep& step) {
    auto child = node.child(step.name);
    for (std::size_t index = 0; index < step.index && child; ++index) {
        child = child.next_sibling(step.name);
    }
    return child;
}

std::string closingTag(const pugi::xml_node& node) {
    return "</" + std::string(node.name()) + ">";
}

/// What a new child of an element is put between.
struct Surroundings {
    std::string before;
    std::string after;
};

Surroundings surroundings(const XmlSource& source, const pugi::xml_node& root,
                          const pugi::xml_node& parent) {
    const std::string_view text = source.text();
    const auto indentOf = [&](const pugi::xml_node& node) {
        return std::string(XmlScan::indentation(text, source.offsetOf(node)));
    };
    const std::string end(lineEnd(text));
    const auto own = indentOf(parent);
    if (const auto sibling = firstElement(parent)) {
        const auto indent = indentOf(sibling);
        const auto before = text.substr(0, source.offsetOf(sibling) - indent.size());
        return before.ends_with('\n') ? Surroundings{end + indent, end + own} : Surroundings{};
    }
    const auto unit = firstElement(root) ? indentOf(firstElement(root)) : std::string();
    return {end + own + (unit.empty() ? "  " : unit), end + own};
}

} // namespace

XmlEditor::XmlEditor(std::filesystem::path file, std::string text, std::string_view rootElement)
    : path(std::move(file)), rootName(rootElement), current(path, std::move(text), rootName) {}

void XmlEditor::setText(const ElementPath& element, const std::wstring& value) {
    const auto offset = provide(element);
    const auto place = XmlScan::element(current.source().text(), offset);
    if (place.selfClosing) {
        replace(place.tagEnd - 2, place.tagEnd, ">" + escaped(value) + closingTag(find(element)));
    } else {
        replace(place.content.begin, place.content.end, escaped(value));
    }
}

void XmlEditor::setAttribute(const ElementPath& element, const char* attribute,
                             const std::wstring& value) {
    const auto offset = provide(element);
    const auto& source = current.source();
    const auto node = find(element);
    if (const auto found = node.attribute(attribute)) {
        const auto place = XmlScan::attributeValue(source.text(), source.offsetOf(node, found));
        return replace(place.begin, place.end, escaped(value));
    }
    const auto place = XmlScan::element(source.text(), offset);
    const auto tagClose = place.tagEnd - (place.selfClosing ? 2 : 1);
    const auto at = trimmedEnd(source.text(), {offset, tagClose});
    replace(at, at, " " + std::string(attribute) + "=\"" + escaped(value) + "\"");
}

void XmlEditor::clear(const ElementPath& element) {
    const auto place = XmlScan::element(current.source().text(), provide(element));
    replace(place.content.begin, place.content.end, "");
}

pugi::xml_node XmlEditor::find(const ElementPath& element) const {
    auto node = current.root();
    for (const auto& step : element) {
        node = childAt(node, step);
    }
    return node;
}

/// Offset of the element, which is added together with its parents when it is missing.
std::size_t XmlEditor::provide(const ElementPath& element) {
    if (!find(element)) {
        const ElementPath parent(element.begin(), element.end() - 1);
        provide(parent);
        addChild(parent, element.back().name);
    }
    return current.source().offsetOf(find(element));
}

void XmlEditor::addChild(const ElementPath& parent, const char* name) {
    const auto node = find(parent);
    const auto& source = current.source();
    const auto place = XmlScan::element(source.text(), source.offsetOf(node));
    const auto around = surroundings(source, current.root(), node);
    const auto child = around.before + "<" + name + "/>";
    if (place.selfClosing) {
        return replace(place.tagEnd - 2, place.tagEnd,
                       ">" + child + around.after + closingTag(node));
    }
    const auto at = trimmedEnd(source.text(), place.content);
    const bool ownLine = source.text().find('\n', at) < place.content.end;
    replace(at, at, child + (ownLine ? "" : around.after));
}

void XmlEditor::replace(std::size_t begin, std::size_t end, std::string_view replacement) {
    auto text = current.source().text();
    text.replace(begin, end - begin, replacement);
    current = XmlFile(path, std::move(text), rootName);
}

} // namespace Quarlen::Kel_cpp

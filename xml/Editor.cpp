#include "xml/Editor.hpp"

#include <algorithm>
#include <utility>

#include "platform/TextEncoding.hpp"
#include "xml/FileError.hpp"
#include "xml/Scan.hpp"

namespace Xml {

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

/// XML 1.0, production 2; surrogates do not convert.
bool isForbidden(wchar_t character) {
    const bool control =
        character < 0x20 && character != L'\t' && character != L'\n' && character != L'\r';
    return control || character == 0xFFFE || character == 0xFFFF;
}

/// Escapes a value for use between tags and between quotes of either kind.
std::string escaped(const std::wstring& value) {
    const auto utf8 = Quarlen::Platform::toUtf8(value);
    if (utf8.empty() && !value.empty()) {
        throw FileError(L"a value to be kept is no valid text");
    }
    if (std::any_of(value.begin(), value.end(), isForbidden)) {
        throw FileError(L"a value to be kept has a control character, which XML cannot hold");
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

std::size_t trimmedEnd(std::string_view text, Scan::Range range) {
    const auto last = text.substr(0, range.end).find_last_not_of(Scan::blanks);
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

std::string indentOf(const Source& source, const pugi::xml_node& node) {
    return std::string(Scan::indentation(source.text(), source.offsetOf(node)));
}

/// How children are set apart from an element that has none yet.
struct Layout {
    std::string lineEnd;
    /// Indentation of the element itself.
    std::string own;
    /// Added for each level.
    std::string unit;
};

Layout layoutOf(const Source& source, const pugi::xml_node& root, const pugi::xml_node& parent) {
    const auto first = firstElement(root);
    const auto unit = first ? indentOf(source, first) : std::string();
    return {std::string(lineEnd(source.text())), indentOf(source, parent),
            unit.empty() ? "  " : unit};
}

/// The text before and after a new child of an element.
struct Surroundings {
    std::string before;
    std::string after;
};

Surroundings surroundings(const Source& source, const pugi::xml_node& root,
                          const pugi::xml_node& parent) {
    const std::string_view text = source.text();
    const auto [end, own, unit] = layoutOf(source, root, parent);
    if (const auto sibling = firstElement(parent)) {
        const auto indent = indentOf(source, sibling);
        const auto before = text.substr(0, source.offsetOf(sibling) - indent.size());
        return before.ends_with('\n') ? Surroundings{end + indent, end + own} : Surroundings{};
    }
    return {end + own + unit, end + own};
}

void writeElement(std::string& text, const NewElement& element, const Layout& layout,
                  const std::string& indent) {
    text += layout.lineEnd + indent + "<" + element.name;
    for (const auto& [name, value] : element.attributes) {
        text += " " + name + "=\"" + escaped(value) + "\"";
    }
    if (element.children.empty()) {
        text += "/>";
        return;
    }
    text += ">";
    for (const auto& child : element.children) {
        writeElement(text, child, layout, indent + layout.unit);
    }
    text += layout.lineEnd + indent + "</" + element.name + ">";
}

std::string childrenText(const std::vector<NewElement>& children, const Layout& layout) {
    std::string text;
    for (const auto& child : children) {
        writeElement(text, child, layout, layout.own + layout.unit);
    }
    return text.empty() ? text : text + layout.lineEnd + layout.own;
}

} // namespace

Editor::Editor(std::filesystem::path file, std::string text, std::string_view rootElement,
               const Limits& limits)
    : path(std::move(file)),
      rootName(rootElement),
      limits(limits),
      current(path, std::move(text), rootName, limits) {}

const File& Editor::file() {
    applyGathered();
    return current;
}

void Editor::setText(const ElementPath& element, const std::wstring& value) {
    const auto offset = provide(element);
    const auto place = Scan::element(current.source().text(), offset);
    if (place.selfClosing) {
        replace(place.tagEnd - 2, place.tagEnd, ">" + escaped(value) + closingTag(find(element)));
    } else {
        replace(place.content.begin, place.content.end, escaped(value));
    }
}

void Editor::setAttribute(const ElementPath& element, const char* attribute,
                          const std::wstring& value) {
    provide(element);
    setAttribute(find(element), attribute, value);
    applyGathered();
}

void Editor::setAttribute(const pugi::xml_node& element, const char* attribute,
                          const std::wstring& value) {
    const auto& source = current.source();
    if (const auto found = element.attribute(attribute)) {
        const auto place = Scan::attributeValue(source.text(), source.offsetOf(element, found));
        gathered.insert({place.begin, {place, escaped(value)}});
        return;
    }
    const auto offset = source.offsetOf(element);
    const auto place = Scan::element(source.text(), offset);
    const auto tagClose = place.tagEnd - (place.selfClosing ? 2 : 1);
    const auto at = trimmedEnd(source.text(), {offset, tagClose});
    gathered.insert({at, {{at, at}, " " + std::string(attribute) + "=\"" + escaped(value) + "\""}});
}

void Editor::setChildren(const ElementPath& element, const std::vector<NewElement>& children) {
    // `provide` may replace the text, so it is called before the text is read.
    const auto offset = provide(element);
    const auto& source = current.source();
    const auto place = Scan::element(source.text(), offset);
    const auto content = childrenText(children, layoutOf(source, current.root(), find(element)));
    if (place.selfClosing && !content.empty()) {
        replace(place.tagEnd - 2, place.tagEnd, ">" + content + closingTag(find(element)));
    } else {
        replace(place.content.begin, place.content.end, content);
    }
}

pugi::xml_node Editor::find(const ElementPath& element) const {
    auto node = current.root();
    for (const auto& step : element) {
        node = childAt(node, step);
    }
    return node;
}

/// Returns the offset of the element, which is added with its parents when it is missing.
std::size_t Editor::provide(const ElementPath& element) {
    applyGathered();
    if (!find(element)) {
        const ElementPath parent(element.begin(), element.end() - 1);
        provide(parent);
        addChild(parent, element.back().name);
    }
    return current.source().offsetOf(find(element));
}

void Editor::addChild(const ElementPath& parent, const char* name) {
    const auto node = find(parent);
    const auto& source = current.source();
    const auto place = Scan::element(source.text(), source.offsetOf(node));
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

void Editor::replace(std::size_t begin, std::size_t end, std::string_view replacement) {
    gathered.insert({begin, {{begin, end}, std::string(replacement)}});
    applyGathered();
}

void Editor::applyGathered() {
    if (gathered.empty()) {
        return;
    }
    const auto changes = std::exchange(gathered, {});
    const std::string_view before = current.source().text();
    std::string text;
    std::size_t copied = 0;
    for (const auto& [begin, change] : changes) {
        text += before.substr(copied, begin - copied);
        text += change.replacement;
        copied = change.range.end;
    }
    text += before.substr(copied);
    current = File(path, std::move(text), rootName, limits);
}

} // namespace Xml

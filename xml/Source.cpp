#include "xml/Source.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/TextEncoding.hpp"
#include "xml/Fault.hpp"
#include "xml/FileBytes.hpp"
#include "xml/FileError.hpp"
#include "xml/Parser.hpp"
#include "xml/Scan.hpp"

namespace Xml {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace

std::string Source::load(const std::filesystem::path& file, const Limits& limits) {
    std::string content;
    try {
        readFile(file, limits.size, [&](std::string_view part) { content += part; });
    } catch (const Fault& fault) {
        throw FileError(Quarlen::Platform::fromPath(file) + L": " + fault.cause());
    }
    return content;
}

Source::Source(std::filesystem::path file, std::string content, const Limits& limits)
    : path(std::move(file)),
      source(std::move(content)),
      document(std::make_unique<pugi::xml_document>()) {
    parse(limits);
}

void Source::parse(const Limits& limits) {
    try {
        checkWellFormed(source, limits);
    } catch (const Fault& fault) {
        failAt(fault.place().offset, L"malformed XML: " + fault.cause());
    }
    const auto result = document->load_buffer(source.data(), source.size(), pugi::parse_default,
                                              pugi::encoding_utf8);
    if (!result) {
        failAt(static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0)),
               L"malformed XML: " + Quarlen::Platform::fromUtf8(result.description()));
    }
}

std::size_t Source::offsetOf(const pugi::xml_node& element) const {
    const auto name = element.offset_debug();
    return name > 0 ? static_cast<std::size_t>(name) - 1 : 0;
}

std::size_t Source::offsetOf(const pugi::xml_node& element,
                             const pugi::xml_attribute& attribute) const {
    // Both names point into the same copy of the text, which belongs to the tree.
    return offsetOf(element) + 1 + static_cast<std::size_t>(attribute.name() - element.name());
}

std::size_t Source::offsetOfText(const pugi::xml_node& textNode) const {
    const auto begin =
        static_cast<std::size_t>(std::max<std::ptrdiff_t>(textNode.offset_debug(), 0));
    const auto visible = source.find_first_not_of(Scan::blanks, begin);
    return visible == std::string::npos ? begin : visible;
}

void Source::failAt(std::size_t offset, const std::wstring& message) const {
    auto before = std::string_view(source).substr(0, offset);
    if (before.starts_with(byteOrderMark)) {
        before.remove_prefix(byteOrderMark.size());
    }
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const auto lastLine = Scan::lastLine(before);
    const auto column = std::count_if(lastLine.begin(), lastLine.end(), Scan::beginsCharacter) + 1;
    throw FileError(Quarlen::Platform::fromPath(path) + L":" + std::to_wstring(line) + L":" +
                    std::to_wstring(column) + L": " + message);
}

} // namespace Xml

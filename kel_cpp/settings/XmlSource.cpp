#include "kel_cpp/settings/XmlSource.hpp"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "kel_cpp/RuntimeError.hpp"
#include "kel_cpp/settings/XmlScan.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void failFile(const std::filesystem::path& file, const std::wstring& message) {
    throw runtimeError(ErrorCode::Configuration, Platform::fromPath(file) + L": " + message);
}

[[noreturn]] void failRead(const std::filesystem::path& file, const std::error_code& cause) {
    failFile(file, L"cannot be read: " + Platform::errorText(cause));
}

/// A stream need not say why it could not be opened.
std::error_code causeOfFailedOpen() {
    return errno == 0 ? std::make_error_code(std::errc::io_error)
                      : std::error_code(errno, std::generic_category());
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Bytes of the character at the beginning of `text`; 0 when no character begins there.
std::size_t characterLength(std::string_view text) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(4, text.size()); ++length) {
        if (!Platform::fromUtf8(text.substr(0, length)).empty()) {
            return length;
        }
    }
    return 0;
}

std::size_t findBadByte(std::string_view text) {
    std::size_t offset = 0;
    while (offset < text.size()) {
        const auto length = characterLength(text.substr(offset));
        if (length == 0) {
            break;
        }
        offset += length;
    }
    return offset;
}

bool isForbiddenCharacter(char character) {
    return static_cast<unsigned char>(character) < 0x20 && character != '\t' && character != '\n' &&
           character != '\r';
}

/// Looks at every node for what the parser does not mind.
class WellFormedness : public pugi::xml_tree_walker {
public:
    explicit WellFormedness(const XmlSource& file) : source(file) {}

    bool for_each(pugi::xml_node& node) override {
        if (node.type() == pugi::node_element) {
            checkElement(node);
        } else {
            checkText(node);
        }
        return true;
    }

private:
    void checkElement(const pugi::xml_node& node) {
        const auto offset = source.offsetOf(node);
        if (depth() >= XmlSource::maximumDepth) {
            source.failAt(offset, L"nested deeper than " +
                                      std::to_wstring(XmlSource::maximumDepth) + L" elements");
        }
        if (depth() == 0 && std::exchange(rootSeen, true)) {
            source.failAt(offset, L"a second root element, expected the end of the file");
        }
        names.clear();
        for (const auto attribute : node.attributes()) {
            checkAttribute(node, attribute);
        }
    }

    void checkAttribute(const pugi::xml_node& node, const pugi::xml_attribute& attribute) {
        const auto offset = source.offsetOf(node, attribute);
        if (!names.insert(attribute.name()).second) {
            source.failAt(offset, L"attribute '" + Platform::fromUtf8(attribute.name()) +
                                      L"' stands twice");
        }
        const auto value = XmlScan::attributeValue(source.text(), offset);
        const auto raw = std::string_view(source.text()).substr(0, value.end).substr(value.begin);
        if (const auto bad = raw.find('<'); bad != std::string_view::npos) {
            source.failAt(value.begin + bad, L"'<' in an attribute, expected '&lt;'");
        }
        checkReferences(raw, value.begin);
    }

    void checkText(const pugi::xml_node& node) {
        const auto offset = source.offsetOfText(node);
        if (depth() == 0) {
            source.failAt(offset, L"text outside of the root element");
        }
        if (node.type() != pugi::node_pcdata) {
            return;
        }
        const auto rest = std::string_view(source.text()).substr(offset);
        checkReferences(rest.substr(0, rest.find('<')), offset);
    }

    void checkReferences(std::string_view raw, std::size_t offset) {
        if (const auto bad = XmlScan::findBadReference(raw); bad != std::string_view::npos) {
            source.failAt(offset + bad, L"unknown entity, expected '&amp;' for '&'");
        }
    }

    const XmlSource& source;
    bool rootSeen = false;
    std::unordered_set<std::string_view> names;
};

} // namespace

std::string XmlSource::load(const std::filesystem::path& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error) {
        failRead(file, error);
    }
    if (size > maximumSize) {
        failFile(file, L"larger than " + std::to_wstring(maximumSize) + L" bytes");
    }
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        failRead(file, causeOfFailedOpen());
    }
    std::string content(static_cast<std::size_t>(size), '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (stream.bad()) {
        failRead(file, std::make_error_code(std::errc::io_error));
    }
    content.resize(static_cast<std::size_t>(stream.gcount()));
    return content;
}

XmlSource::XmlSource(std::filesystem::path file, std::string content)
    : path(std::move(file)),
      source(std::move(content)),
      document(std::make_unique<pugi::xml_document>()) {
    checkCharacters();
    parse();
}

void XmlSource::checkCharacters() const {
    if (!source.empty() && Platform::fromUtf8(source).empty()) {
        failAt(findBadByte(source), L"no UTF-8 text, expected a file in UTF-8");
    }
    const auto bad = std::find_if(source.begin(), source.end(), isForbiddenCharacter);
    if (bad != source.end()) {
        failAt(static_cast<std::size_t>(bad - source.begin()), L"control character in the text");
    }
}

void XmlSource::parse() {
    const auto result =
        document->load_buffer(source.data(), source.size(),
                              pugi::parse_default | pugi::parse_fragment, pugi::encoding_utf8);
    if (!result) {
        failAt(static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0)),
               L"malformed XML: " + Platform::fromUtf8(result.description()));
    }
    WellFormedness check(*this);
    document->traverse(check);
}

std::size_t XmlSource::offsetOf(const pugi::xml_node& element) const {
    const auto name = element.offset_debug();
    return name > 0 ? static_cast<std::size_t>(name) - 1 : 0;
}

std::size_t XmlSource::offsetOf(const pugi::xml_node& element,
                                const pugi::xml_attribute& attribute) const {
    // Both names lie in the parser's one copy of the text.
    return offsetOf(element) + 1 + static_cast<std::size_t>(attribute.name() - element.name());
}

std::size_t XmlSource::offsetOfText(const pugi::xml_node& textNode) const {
    const auto begin =
        static_cast<std::size_t>(std::max<std::ptrdiff_t>(textNode.offset_debug(), 0));
    const auto visible = source.find_first_not_of(XmlScan::blanks, begin);
    return visible == std::string::npos ? begin : visible;
}

void XmlSource::failAt(std::size_t offset, const std::wstring& message) const {
    auto before = std::string_view(source).substr(0, offset);
    if (before.starts_with(byteOrderMark)) {
        before.remove_prefix(byteOrderMark.size());
    }
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const auto lastLine = before.substr(before.rfind('\n') + 1);
    const auto column = std::count_if(lastLine.begin(), lastLine.end(),
                                      [](char byte) { return !continuesCharacter(byte); }) +
                        1;
    throw runtimeError(ErrorCode::Configuration, Platform::fromPath(path) + L":" +
                                                     std::to_wstring(line) + L":" +
                                                     std::to_wstring(column) + L": " + message);
}

} // namespace Quarlen::Kel_cpp

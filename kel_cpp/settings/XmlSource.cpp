#include "kel_cpp/settings/XmlSource.hpp"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <utf8.h>

#include "kel_cpp/RuntimeError.hpp"
#include "kel_cpp/settings/XmlScan.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "xml/Parser.hpp"

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

bool isForbiddenCharacter(char character) {
    return static_cast<unsigned char>(character) < 0x20 && character != '\t' && character != '\n' &&
           character != '\r';
}

/// The whole text is in memory already, and a file of nothing but names needs the most beside it.
constexpr Xml::Limits limits{.depth = XmlSource::maximumDepth,
                             .markup = XmlSource::maximumSize,
                             .memory = 16 * XmlSource::maximumSize,
                             .onlyUtf8 = true};

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
    const auto invalid = utf8::find_invalid(source.begin(), source.end());
    if (invalid != source.end()) {
        failAt(static_cast<std::size_t>(invalid - source.begin()),
               L"no UTF-8 text, expected a file in UTF-8");
    }
    const auto bad = std::find_if(source.begin(), source.end(), isForbiddenCharacter);
    if (bad != source.end()) {
        failAt(static_cast<std::size_t>(bad - source.begin()), L"control character in the text");
    }
}

void XmlSource::parse() {
    try {
        Xml::checkWellFormed(source, limits);
    } catch (const Xml::Fault& fault) {
        failAt(fault.place().offset, L"malformed XML: " + fault.cause());
    }
    const auto result = document->load_buffer(source.data(), source.size(), pugi::parse_default,
                                              pugi::encoding_utf8);
    if (!result) {
        failAt(static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0)),
               L"malformed XML: " + Platform::fromUtf8(result.description()));
    }
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
    const auto lastLine = XmlScan::lastLine(before);
    const auto column = std::count_if(lastLine.begin(), lastLine.end(),
                                      [](char byte) { return !continuesCharacter(byte); }) +
                        1;
    throw runtimeError(ErrorCode::Configuration, Platform::fromPath(path) + L":" +
                                                     std::to_wstring(line) + L":" +
                                                     std::to_wstring(column) + L": " + message);
}

} // namespace Quarlen::Kel_cpp

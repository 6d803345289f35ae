#include "xml/Source.hpp"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <utf8.h>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "xml/FileError.hpp"
#include "xml/Parser.hpp"
#include "xml/Scan.hpp"

namespace Xml {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void failFile(const std::filesystem::path& file, const std::wstring& message) {
    throw FileError(Quarlen::Platform::fromPath(file) + L": " + message);
}

[[noreturn]] void failRead(const std::filesystem::path& file, const std::error_code& cause) {
    failFile(file, L"cannot be read: " + Quarlen::Platform::errorText(cause));
}

/// The cause of a failed open, which a stream need not report.
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
constexpr Limits limits{.depth = Source::maxDepth,
                        .markup = Source::maxSize,
                        .memory = 16 * Source::maxSize,
                        .onlyUtf8 = true};

} // namespace

std::string Source::load(const std::filesystem::path& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error) {
        failRead(file, error);
    }
    if (size > maxSize) {
        failFile(file, L"larger than " + std::to_wstring(maxSize) + L" bytes");
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

Source::Source(std::filesystem::path file, std::string content)
    : path(std::move(file)),
      source(std::move(content)),
      document(std::make_unique<pugi::xml_document>()) {
    checkCharacters();
    parse();
}

void Source::checkCharacters() const {
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

void Source::parse() {
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
    const auto column = std::count_if(lastLine.begin(), lastLine.end(),
                                      [](char byte) { return !continuesCharacter(byte); }) +
                        1;
    throw FileError(Quarlen::Platform::fromPath(path) + L":" + std::to_wstring(line) + L":" +
                    std::to_wstring(column) + L": " + message);
}

} // namespace Xml

#include "config/XmlText.hpp"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <system_error>

#include <utf8.h>

#include "config/FileError.hpp"
#include "platform/TextEncoding.hpp"

namespace Config {
namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view utf16LittleMark = "\xFF\xFE";
constexpr std::string_view utf16BigMark = "\xFE\xFF";

enum class ByteOrder { Little, Big };

constexpr char32_t firstHighSurrogate = 0xD800;
constexpr char32_t firstLowSurrogate = 0xDC00;
constexpr char32_t afterSurrogates = 0xE000;

/// A byte is missing in the last unit of a text of odd length; that unit becomes a lone surrogate.
char32_t utf16Unit(std::string_view bytes, std::size_t offset, ByteOrder order) {
    if (offset + 1 >= bytes.size()) {
        return firstHighSurrogate;
    }
    const auto first = static_cast<unsigned char>(bytes[offset]);
    const auto second = static_cast<unsigned char>(bytes[offset + 1]);
    return static_cast<char32_t>(order == ByteOrder::Big ? first << 8 | second
                                                         : second << 8 | first);
}

/// A lone surrogate keeps its place: as three bytes that are no valid UTF-8.
std::string decodeUtf16(std::string_view bytes, ByteOrder order) {
    std::string text;
    for (std::size_t offset = 0; offset < bytes.size(); offset += 2) {
        char32_t character = utf16Unit(bytes, offset, order);
        if (character >= firstHighSurrogate && character < firstLowSurrogate) {
            const char32_t low = utf16Unit(bytes, offset + 2, order);
            if (low >= firstLowSurrogate && low < afterSurrogates) {
                character =
                    0x10000 + ((character - firstHighSurrogate) << 10U) + (low - firstLowSurrogate);
                offset += 2;
            }
        }
        utf8::unchecked::append(character, std::back_inserter(text));
    }
    return text;
}

std::string decodeLatin1(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        utf8::unchecked::append(static_cast<unsigned char>(byte), std::back_inserter(text));
    }
    return text;
}

/// Name in the XML declaration, in lower case; empty when there is none.
std::string declaredEncoding(std::string_view bytes) {
    if (!bytes.starts_with("<?xml")) {
        return {};
    }
    const std::string_view declaration = bytes.substr(0, bytes.find("?>"));
    const std::size_t key = declaration.find("encoding");
    const std::size_t open = declaration.find_first_of("\"'", key);
    if (key == std::string_view::npos || open == std::string_view::npos) {
        return {};
    }
    const std::size_t close = declaration.find(declaration[open], open + 1);
    std::string name(declaration.substr(open + 1, close - open - 1));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char unit) { return static_cast<char>(std::tolower(unit)); });
    return name;
}

std::string decodeUnmarked(std::string bytes) {
    const std::string encoding = declaredEncoding(bytes);
    if (encoding == "iso-8859-1") {
        return decodeLatin1(bytes);
    }
    if (encoding.empty() || encoding == "utf-8" || encoding == "us-ascii") {
        return bytes;
    }
    throw FileError(0, L"the encoding \"" + Quarlen::Platform::fromUtf8(encoding) +
                           L"\" is not supported");
}

bool isForbidden(char unit) {
    const auto value = static_cast<unsigned char>(unit);
    return value < 0x20 && value != '\t' && value != '\n' && value != '\r';
}

std::string readAtMost(std::ifstream& stream, std::size_t limit) {
    std::string content;
    std::string chunk(std::size_t{64} * 1024, '\0');
    while (content.size() <= limit && stream) {
        stream.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        content.append(chunk, 0, static_cast<std::size_t>(stream.gcount()));
    }
    return content;
}

} // namespace

std::string readXmlBytes(const std::filesystem::path& file) {
    std::error_code error;
    // Other kinds of files can block for ever when they are opened.
    if (!std::filesystem::is_regular_file(file, error)) {
        throw FileError(0, L"there is no regular file of this name");
    }
    std::ifstream stream(file, std::ios::binary);
    std::string content = readAtMost(stream, maximumFileSize);
    if (!stream.eof() && content.size() <= maximumFileSize) {
        throw FileError(0, L"the file cannot be read");
    }
    if (content.size() > maximumFileSize) {
        throw FileError(0, L"the file is larger than 64 MiB");
    }
    return content;
}

std::string decodeXml(std::string bytes) {
    if (bytes.starts_with(utf8Mark)) {
        return bytes.substr(utf8Mark.size());
    }
    if (bytes.starts_with(utf16LittleMark)) {
        return decodeUtf16(std::string_view(bytes).substr(2), ByteOrder::Little);
    }
    if (bytes.starts_with(utf16BigMark)) {
        return decodeUtf16(std::string_view(bytes).substr(2), ByteOrder::Big);
    }
    return decodeUnmarked(std::move(bytes));
}

void checkCharacters(std::string_view text) {
    const auto invalid = utf8::find_invalid(text.begin(), text.end());
    if (invalid != text.end()) {
        throw FileError(static_cast<std::size_t>(invalid - text.begin()),
                        L"the file is not valid text in its encoding");
    }
    const auto forbidden = std::find_if(text.begin(), text.end(), isForbidden);
    if (forbidden != text.end()) {
        throw FileError(static_cast<std::size_t>(forbidden - text.begin()),
                        L"a control character that XML does not allow");
    }
}

TextPosition positionOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const std::size_t lineStart = before.rfind('\n') + 1;
    const auto startsCharacter = [](char unit) {
        return (static_cast<unsigned char>(unit) & 0xC0U) != 0x80U;
    };
    TextPosition position;
    position.line += static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    position.column += static_cast<std::size_t>(std::count_if(
        before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(), startsCharacter));
    return position;
}

} // namespace Config

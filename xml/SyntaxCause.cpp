#include "xml/SyntaxCause.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <expat.h>

#include <utf8.h>

#include "platform/TextEncoding.hpp"
#include "xml/Quoting.hpp"
#include "xml/Scan.hpp"

namespace Xml {
namespace {

/// A name, or what stands where one is expected, up to the character that ends it.
std::string_view nameAt(std::string_view text) {
    return text.substr(0, text.find_first_of(" \t\r\n/>=;<&'\""));
}

/// The first reference of a tag or text to an entity that XML does not define.
std::string_view unknownReference(std::string_view text) {
    constexpr std::array<std::string_view, 5> predefined{"lt", "gt", "amp", "quot", "apos"};
    for (auto at = text.find('&'); at != std::string_view::npos; at = text.find('&', at + 1)) {
        const auto name = nameAt(text.substr(at + 1));
        const bool known = name.starts_with('#') || std::find(predefined.begin(), predefined.end(),
                                                              name) != predefined.end();
        if (!known) {
            return text.substr(at, name.size() + 2);
        }
    }
    return {};
}

std::wstring quotedEndTag(std::string_view name) {
    return L"\"</" + Quarlen::Platform::fromUtf8(shortened(name)) + L">\"";
}

/// What the words of the library are about.
std::string_view found(const SyntaxFault& fault) {
    switch (fault.code) {
    case XML_ERROR_UNDEFINED_ENTITY:
        return unknownReference(fault.text);
    case XML_ERROR_DUPLICATE_ATTRIBUTE:
    case XML_ERROR_TAG_MISMATCH:
        return nameAt(fault.text);
    case XML_ERROR_UNCLOSED_TOKEN:
        return fault.text.substr(0, fault.text.find_first_of(Scan::blanks));
    default:
        return {};
    }
}

/// Empty where it cannot be told, as in a file in UTF-16.
std::wstring subject(const SyntaxFault& fault) {
    const auto text = found(fault);
    const bool isUtf16 = fault.text.substr(0, 2).find('\0') != std::string_view::npos;
    if (text.empty() || isUtf16 || !utf8::is_valid(text.begin(), text.end())) {
        return {};
    }
    return L" " + (fault.code == XML_ERROR_TAG_MISMATCH ? quotedEndTag(text) : inQuotes(text));
}

bool isControlCharacter(unsigned char value, bool onlyUtf8) {
    // A zero is half of a character in UTF-16.
    return (value > 0 || onlyUtf8) && value < 0x20 && value != '\t' && value != '\n' &&
           value != '\r';
}

std::wstring causeOfCharacter(const SyntaxFault& fault) {
    if (!fault.onlyUtf8) {
        return L"no text in the file's encoding, or a character that cannot stand here";
    }
    constexpr std::size_t maxCharacterSize = 4;
    const auto next = fault.text.substr(0, maxCharacterSize);
    return utf8::find_invalid(next.begin(), next.end()) != next.begin()
               ? L"a character that cannot stand here"
               : notUtf8;
}

/// The cause of an invalid token, from the invalid byte and the byte before it.
std::wstring causeOfToken(const SyntaxFault& fault) {
    const char unit = fault.text.front();
    if (unit == '<') {
        return L"a \"<\" in the wrong place, expected \"&lt;\" in a text";
    }
    if (unit == '&' || fault.before == '&') {
        return L"a \"&\" that begins no reference, expected \"&amp;\"";
    }
    if (isControlCharacter(static_cast<unsigned char>(unit), fault.onlyUtf8)) {
        return L"a control character that XML does not allow";
    }
    return static_cast<unsigned char>(unit) < 0x80 ? L"not well-formed" : causeOfCharacter(fault);
}

} // namespace

std::wstring causeOf(const SyntaxFault& fault) {
    const bool ofToken =
        fault.code == XML_ERROR_INVALID_TOKEN || fault.code == XML_ERROR_PARTIAL_CHAR;
    if (ofToken && !fault.text.empty()) {
        return causeOfToken(fault);
    }
    const bool endsEarly = fault.code == XML_ERROR_NO_ELEMENTS && !fault.openElement.empty();
    const bool ofTags = fault.code == XML_ERROR_TAG_MISMATCH || endsEarly;
    const auto code = static_cast<XML_Error>(fault.code);
    return (endsEarly ? L"the file ends too early"
                      : Quarlen::Platform::fromUtf8(XML_ErrorString(code)) + subject(fault)) +
           (ofTags ? L", expected " + quotedEndTag(fault.openElement) : std::wstring());
}

} // namespace Xml

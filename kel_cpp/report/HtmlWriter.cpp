#include "kel_cpp/report/HtmlWriter.hpp"

#include <cstddef>
#include <utility>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// Converts a valid text at once, an invalid text unit by unit, so that its readable part is kept.
std::string toDisplayableUtf8(std::wstring_view content) {
    std::string converted = Platform::toUtf8(content);
    if (!converted.empty() || content.empty()) {
        return converted;
    }
    for (std::size_t index = 0; index < content.size(); ++index) {
        const std::string character = Platform::toUtf8(content.substr(index, 1));
        converted += character.empty() ? replacementCharacter : character;
    }
    return converted;
}

bool isForbiddenControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    const bool allowed = character == '\t' || character == '\n' || character == '\r';
    return (code < 0x20 && !allowed) || code == 0x7F;
}

void appendEscaped(std::string& document, char character) {
    switch (character) {
    case '&':
        document += "&amp;";
        break;
    case '<':
        document += "&lt;";
        break;
    case '>':
        document += "&gt;";
        break;
    case '"':
        document += "&quot;";
        break;
    case '\'':
        document += "&#39;";
        break;
    default:
        if (isForbiddenControl(character)) {
            document += replacementCharacter;
        } else {
            document += character;
        }
    }
}

} // namespace

HtmlWriter::Element::~Element() {
    writer.document.append("</").append(tag).append(">");
}

HtmlWriter::Element HtmlWriter::open(std::string_view tag, std::string_view cssClass) {
    document.append("<").append(tag);
    if (!cssClass.empty()) {
        document.append(" class=\"").append(cssClass).append("\"");
    }
    document += '>';
    return {*this, tag};
}

HtmlWriter::Element HtmlWriter::openWith(std::string_view tag, std::string_view attributes) {
    document.append("<").append(tag).append(" ").append(attributes).append(">");
    return {*this, tag};
}

void HtmlWriter::text(std::wstring_view content) {
    document += escape(content);
}

void HtmlWriter::text(std::string_view content) {
    document += escape(content);
}

void HtmlWriter::markup(std::string_view content) {
    document += content;
}

void HtmlWriter::element(std::string_view tag, std::string_view cssClass,
                         std::wstring_view content) {
    const auto scope = open(tag, cssClass);
    text(content);
}

void HtmlWriter::element(std::string_view tag, std::string_view cssClass,
                         std::string_view content) {
    const auto scope = open(tag, cssClass);
    text(content);
}

std::string HtmlWriter::escape(std::wstring_view content) {
    return escape(toDisplayableUtf8(content));
}

std::string HtmlWriter::escape(std::string_view content) {
    std::string escaped;
    escaped.reserve(content.size());
    for (const char character : content) {
        appendEscaped(escaped, character);
    }
    return escaped;
}

std::string HtmlWriter::take() {
    return std::exchange(document, {});
}

} // namespace Quarlen::Kel_cpp

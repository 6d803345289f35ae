#include "kel_server_lib/rest/TraceText.hpp"

#include "platform/TextEncoding.hpp"
#include "std_util/ControlCharacters.hpp"

namespace Quarlen::Rest {

namespace {

void appendEscaped(std::wstring& text, unsigned code) {
    switch (code) {
    case '\n':
        text += L"\\n";
        break;
    case '\r':
        text += L"\\r";
        break;
    case '\t':
        text += L"\\t";
        break;
    default:
        text += StdUtil::hexEscape(code);
    }
}

std::wstring escaped(const std::wstring& text) {
    std::wstring line;
    line.reserve(text.size());
    for (const wchar_t letter : text) {
        const unsigned code = std::char_traits<wchar_t>::to_int_type(letter);
        if (StdUtil::isControlCharacter(code)) {
            appendEscaped(line, code);
        } else {
            line += letter;
        }
    }
    return line;
}

std::wstring bytesOf(std::string_view bytes) {
    std::wstring line;
    line.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code > 0x7F || StdUtil::isControlCharacter(code)) {
            appendEscaped(line, code);
        } else {
            line += static_cast<wchar_t>(code);
        }
    }
    return line;
}

} // namespace

std::wstring traceText(std::string_view utf8) {
    const std::wstring text = Platform::fromUtf8(utf8);
    return text.empty() ? bytesOf(utf8) : escaped(text);
}

} // namespace Quarlen::Rest

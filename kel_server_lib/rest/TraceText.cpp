#include "kel_server_lib/rest/TraceText.hpp"

#include "platform/TextEncoding.hpp"

namespace Quarlen::Rest {

namespace {

void appendEscaped(std::wstring& text, unsigned code) {
    constexpr std::wstring_view digits = L"0123456789abcdef";
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
        text += {L'\\', L'x', digits[code / 16], digits[code % 16]};
    }
}

/// The C0 controls, DEL and the C1 controls.
bool isControl(unsigned code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

std::wstring escaped(const std::wstring& text) {
    std::wstring line;
    line.reserve(text.size());
    for (const wchar_t letter : text) {
        const unsigned code = std::char_traits<wchar_t>::to_int_type(letter);
        if (isControl(code)) {
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
        if (code > 0x7F || isControl(code)) {
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

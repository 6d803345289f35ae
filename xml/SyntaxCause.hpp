#pragma once

#include <string>
#include <string_view>

namespace Xml {

/// Where the parser's library has found a fault in the syntax.
struct SyntaxFault {
    /// The library's `XML_Error`.
    int code = 0;
    /// The file's bytes from the place of the fault on, as far as the library has them.
    std::string_view text;
    /// The byte before that place; 0 when there is none.
    char before = '\0';
    /// The shortened name of the innermost open element; empty when there is none.
    std::string_view openElement;
    bool onlyUtf8 = false;
};

/// Names what was found, as far as the library tells it, and what is expected there.
[[nodiscard]] std::wstring causeOf(const SyntaxFault& fault);

/// The cause for a file that `Limits::onlyUtf8` refuses.
inline constexpr const wchar_t* notUtf8 = L"no UTF-8 text, expected a file in UTF-8";

} // namespace Xml

#pragma once

#include <string>

namespace StdUtil {

/// The C0 controls, DEL and the C1 controls, which some terminals obey as well.
constexpr bool isControlCharacter(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

/// "\x" and two digits, for a code of one byte.
std::wstring hexEscape(char32_t code);

} // namespace StdUtil

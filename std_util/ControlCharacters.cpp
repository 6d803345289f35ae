#include "std_util/ControlCharacters.hpp"

#include <string_view>

namespace StdUtil {

std::wstring hexEscape(char32_t code) {
    constexpr std::wstring_view digits = L"0123456789abcdef";
    return {L'\\', L'x', digits[code / 16], digits[code % 16]};
}

} // namespace StdUtil

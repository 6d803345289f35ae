#pragma once

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>

namespace Fuzzers {

/// True for "file:line:column: cause" with a line and a column that `text` has.
inline bool namesPlace(const std::wstring& message, const std::wstring& file,
                       std::string_view text) {
    if (!message.starts_with(file)) {
        return false;
    }
    std::wistringstream rest(message.substr(file.size()));
    wchar_t separators[3] = {};
    std::size_t line = 0;
    std::size_t column = 0;
    rest >> separators[0] >> line >> separators[1] >> column >> separators[2];
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    return rest && std::wstring_view(separators, 3) == L":::" && line >= 1 && line <= lines &&
           column >= 1 && column <= text.size() + 1 && rest.peek() == L' ';
}

} // namespace Fuzzers

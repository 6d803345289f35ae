#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// Scripts name things by texts, the runtime by numbers and bits: these tables say which text is
/// which number. Each is a constant array of rows in a file of its own, which reads like the table
/// in the documentation, and `valueOfText` searches it row by row. The compiler makes the tables;
/// nobody owns them and any thread may read them.
namespace Quarlen {

struct TextTableRow {
    std::wstring_view text;
    std::uint32_t value = 0;
};

/// The value of a text that a table does not hold. It is used like any other value: in a mask it
/// sets every bit.
inline constexpr std::uint32_t unknownText = 0xFFFFFFFFU;

/// Exact match, letter case and length included.
template <std::size_t Count>
constexpr std::uint32_t valueOfText(const std::array<TextTableRow, Count>& table,
                                    std::wstring_view text) {
    const auto row = std::find_if(table.begin(), table.end(),
                                  [text](const TextTableRow& each) { return each.text == text; });
    return row == table.end() ? unknownText : row->value;
}

/// All texts of a table, in its order.
template <std::size_t Count>
std::vector<std::wstring_view> textsOf(const std::array<TextTableRow, Count>& table) {
    std::vector<std::wstring_view> texts;
    texts.reserve(table.size());
    for (const TextTableRow& row : table) {
        texts.push_back(row.text);
    }
    return texts;
}

} // namespace Quarlen

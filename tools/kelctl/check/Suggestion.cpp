#include "tools/kelctl/check/Suggestion.hpp"

#include <algorithm>
#include <numeric>

namespace Quarlen::Ctl {

namespace {

constexpr std::size_t shownNames = 12;
/// Longer texts are no names that somebody has typed.
constexpr std::size_t longestName = 100;

wchar_t lower(wchar_t letter) {
    return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter + (L'a' - L'A')) : letter;
}

/// Letters to change, add or leave out; the case does not count.
std::size_t distance(std::wstring_view left, std::wstring_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t replaced = diagonal + (lower(left[i]) == lower(right[j]) ? 0U : 1U);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// Empty when there is none.
std::wstring nearest(std::wstring_view wanted, const std::vector<std::wstring>& names) {
    std::wstring best;
    std::size_t least = std::min<std::size_t>(3, wanted.size() / 2 + 1);
    for (const std::wstring& name : names) {
        const bool comparable = std::max(name.size(), wanted.size()) <= longestName;
        if (const std::size_t steps = comparable ? distance(wanted, name) : least; steps < least) {
            least = steps;
            best = name;
        }
    }
    return best;
}

} // namespace

std::wstring alternativesTo(std::wstring_view wanted, const std::vector<std::wstring>& names) {
    if (const std::wstring best = nearest(wanted, names); !best.empty()) {
        return L"\"" + best + L"\"";
    }
    std::wstring list;
    for (std::size_t i = 0; i < std::min(names.size(), shownNames); ++i) {
        list += (list.empty() ? L"" : L", ") + names[i];
    }
    if (names.size() > shownNames) {
        list += L" and " + std::to_wstring(names.size() - shownNames) + L" more";
    }
    return list.empty() ? L"nothing" : list;
}

} // namespace Quarlen::Ctl

#include "std_util/StringUtils.hpp"

#include <algorithm>
#include <utility>

namespace StdUtil::StringUtils {

void findAndReplace(std::wstring& text, std::wstring_view find, std::wstring_view replacement) {
    if (find.empty()) {
        return;
    }
    // Built anew: replacing in place would move the rest of the text once per occurrence.
    const std::wstring_view source = text;
    std::wstring result;
    std::size_t copied = 0;
    for (std::size_t found = source.find(find); found != std::wstring_view::npos;
         found = source.find(find, copied)) {
        result.append(source, copied, found - copied).append(replacement);
        copied = found + find.size();
    }
    result.append(source, copied);
    text = std::move(result);
}

bool endsWith(std::wstring_view text, std::wstring_view suffix) {
    return text.ends_with(suffix);
}

bool endsWith(const std::vector<std::wstring>& texts, std::wstring_view suffix) {
    return std::any_of(texts.begin(), texts.end(),
                       [suffix](const std::wstring& text) { return text.ends_with(suffix); });
}

} // namespace StdUtil::StringUtils

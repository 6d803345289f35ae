#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace StdUtil::StringUtils {

/// Replaces every occurrence; the text of a replacement is not searched again. An empty `find`
/// changes nothing.
void findAndReplace(std::wstring& text, std::wstring_view find, std::wstring_view replacement);

bool endsWith(std::wstring_view text, std::wstring_view suffix);
/// True when some element ends with the suffix.
bool endsWith(const std::vector<std::wstring>& texts, std::wstring_view suffix);

} // namespace StdUtil::StringUtils

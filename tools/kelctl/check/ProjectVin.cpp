#include "tools/kelctl/check/ProjectVin.hpp"

#include <algorithm>
#include <string_view>

namespace Quarlen::Ctl {

namespace {

/// Three characters for the manufacturer, then what a script looks for in the names of projects.
constexpr std::wstring_view manufacturer = L"SIM";
constexpr std::size_t longestKey = 14;
constexpr std::size_t shortestKey = 3;

bool isVinCharacter(wchar_t letter) {
    return (letter >= L'0' && letter <= L'9') || (letter >= L'A' && letter <= L'Z');
}

} // namespace

std::wstring vinForProject(const std::wstring& name) {
    std::wstring longest;
    std::wstring part;
    for (const wchar_t letter : name) {
        part = isVinCharacter(letter) ? part + letter : std::wstring();
        if (part.size() >= longest.size()) {
            longest = part;
        }
    }
    if (longest.size() < shortestKey) {
        return {};
    }
    const std::size_t length = std::min(longest.size(), longestKey);
    return std::wstring(manufacturer) + longest.substr(longest.size() - length);
}

bool isFoundByVin(const std::vector<std::wstring>& names, const std::wstring& name) {
    const std::wstring vin = vinForProject(name);
    const auto isFound = [&](const std::wstring& each) {
        return each.find(vin.substr(manufacturer.size())) != std::wstring::npos;
    };
    const auto first =
        vin.empty() ? names.end() : std::find_if(names.begin(), names.end(), isFound);
    return first != names.end() && *first == name;
}

} // namespace Quarlen::Ctl

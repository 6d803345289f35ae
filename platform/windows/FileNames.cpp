#include "platform/FileNames.hpp"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32767;
constexpr std::size_t maxNameLength = 255;

/// Names of devices, in every folder and whatever the extension.
constexpr std::array<std::wstring_view, 4> devices{L"CON", L"PRN", L"AUX", L"NUL"};
/// Devices that carry a number from 1 to 9.
constexpr std::array<std::wstring_view, 2> numberedDevices{L"COM", L"LPT"};

/// The devices' names are plain ASCII.
bool isOneOf(std::span<const std::wstring_view> names, std::wstring_view name) {
    const auto sameLetter = [](wchar_t letter, wchar_t capital) {
        return letter == capital ||
               (letter >= L'a' && letter <= L'z' && letter - L'a' + L'A' == capital);
    };
    return std::any_of(names.begin(), names.end(), [&](std::wstring_view each) {
        return std::equal(name.begin(), name.end(), each.begin(), each.end(), sameLetter);
    });
}

bool isDeviceName(std::wstring_view name) {
    std::wstring_view stem = name.substr(0, name.find(L'.'));
    while (stem.ends_with(L' ')) {
        stem.remove_suffix(1);
    }
    const bool numbered = stem.size() == 4 && stem.back() >= L'1' && stem.back() <= L'9';
    return isOneOf(devices, stem) || (numbered && isOneOf(numberedDevices, stem.substr(0, 3)));
}

bool isAllowed(wchar_t letter) {
    return letter >= L' ' && std::wstring_view(L"<>:\"/\\|?*").find(letter) == std::wstring::npos;
}

bool isValidName(std::wstring_view name) {
    if (name.empty() || name == L"." || name == L"..") {
        return true;
    }
    return name.size() <= maxNameLength && !name.ends_with(L'.') && !name.ends_with(L' ') &&
           std::all_of(name.begin(), name.end(), isAllowed) && !isDeviceName(name);
}

} // namespace

bool couldNameFile(const std::filesystem::path& path) {
    const std::filesystem::path name = path.filename();
    const std::filesystem::path parts = path.relative_path();
    return !name.empty() && name != L"." && name != L".." && path.native().size() < maxPathLength &&
           std::all_of(parts.begin(), parts.end(), [](const std::filesystem::path& component) {
               return isValidName(component.native());
           });
}

} // namespace Quarlen::Platform

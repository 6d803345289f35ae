#include "platform/FileNames.hpp"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <windows.h>

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32767;
constexpr std::size_t maxNameLength = 255;

/// Names of devices, in every folder and whatever the extension.
constexpr std::array<std::wstring_view, 6> devices{L"CON", L"PRN",    L"AUX",
                                                   L"NUL", L"CONIN$", L"CONOUT$"};
/// Devices that carry a number.
constexpr std::array<std::wstring_view, 2> numberedDevices{L"COM", L"LPT"};
/// The superscript ones count as well.
constexpr std::wstring_view deviceNumbers = L"123456789\u00B9\u00B2\u00B3";
/// Before a path that the system takes as it is.
constexpr std::wstring_view extendedPrefix = LR"(\\?\)";

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
    const bool numbered =
        stem.size() == 4 && deviceNumbers.find(stem.back()) != std::wstring_view::npos;
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

bool areValidNames(const std::filesystem::path& path) {
    const std::wstring_view text = path.native();
    const bool isExtended = text.starts_with(extendedPrefix);
    const std::filesystem::path whole(isExtended ? text.substr(extendedPrefix.size()) : text);
    const std::filesystem::path names = whole.relative_path();
    return std::all_of(names.begin(), names.end(), [](const std::filesystem::path& name) {
        return isValidName(name.native());
    });
}

} // namespace

bool couldNameFile(const std::filesystem::path& path) {
    const std::filesystem::path name = path.filename();
    return !name.empty() && name != L"." && name != L".." && path.native().size() < maxPathLength &&
           areValidNames(path);
}

bool isTakenLiterally(const std::filesystem::path& path) {
    return areValidNames(path);
}

bool isSameFileName(const std::filesystem::path& left, const std::filesystem::path& right) {
    const std::wstring& one = left.native();
    const std::wstring& other = right.native();
    return ::CompareStringOrdinal(one.data(), static_cast<int>(one.size()), other.data(),
                                  static_cast<int>(other.size()), TRUE) == CSTR_EQUAL;
}

} // namespace Quarlen::Platform

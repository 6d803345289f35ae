#include "platform/TextEncoding.hpp"

#include <climits>
#include <windows.h>

namespace Quarlen::Platform {

static_assert(sizeof(wchar_t) == 2, "wide texts are UTF-16 here");

std::string toUtf8(std::wstring_view text) {
    if (text.empty() || text.size() > INT_MAX) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int needed = ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length,
                                             nullptr, 0, nullptr, nullptr);
    if (needed <= 0) {
        return {};
    }
    std::string converted(static_cast<std::size_t>(needed), '\0');
    const int written = ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length,
                                              converted.data(), needed, nullptr, nullptr);
    return written == needed ? converted : std::string();
}

std::wstring fromUtf8(std::string_view text) {
    if (text.empty() || text.size() > INT_MAX) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int needed =
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
    if (needed <= 0) {
        return {};
    }
    std::wstring converted(static_cast<std::size_t>(needed), L'\0');
    const int written = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length,
                                              converted.data(), needed);
    return written == needed ? converted : std::wstring();
}

std::filesystem::path toPath(std::wstring_view text) {
    // The system ends a path at the first null character and would open another file than named.
    // File names here may hold lone surrogates; those are no valid text.
    if (text.find(L'\0') != std::wstring_view::npos || toUtf8(text).empty()) {
        return {};
    }
    return {text};
}

std::wstring fromPath(const std::filesystem::path& path) {
    return toUtf8(path.native()).empty() ? std::wstring() : path.native();
}

} // namespace Quarlen::Platform

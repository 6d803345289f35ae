#include "platform/TextEncoding.hpp"

#include <iterator>

#include <utf8.h>

namespace Quarlen::Platform {

static_assert(sizeof(wchar_t) == 4, "wide texts are UTF-32 here");

std::string toUtf8(std::wstring_view text) {
    std::string converted;
    converted.reserve(text.size());
    try {
        utf8::utf32to8(text.begin(), text.end(), std::back_inserter(converted));
    } catch (const utf8::exception&) {
        return {};
    }
    return converted;
}

std::wstring fromUtf8(std::string_view text) {
    std::wstring converted;
    converted.reserve(text.size());
    try {
        utf8::utf8to32(text.begin(), text.end(), std::back_inserter(converted));
    } catch (const utf8::exception&) {
        return {};
    }
    return converted;
}

std::filesystem::path toPath(std::wstring_view text) {
    // The system ends a path at the first null character and would open another file than named.
    if (text.find(L'\0') != std::wstring_view::npos) {
        return {};
    }
    return {toUtf8(text)};
}

std::wstring fromPath(const std::filesystem::path& path) {
    return fromUtf8(path.native());
}

} // namespace Quarlen::Platform

#pragma once

#include <string>

namespace Quarlen::Kel_cpp {

/// Why a text gives no path (`Platform::toPath` is empty), as the end of a sentence about it.
inline std::wstring pathFault(const std::wstring& text) {
    if (text.empty()) {
        return L"is empty";
    }
    return text.find(L'\0') != std::wstring::npos ? L"contains a null character"
                                                  : L"is not valid Unicode text";
}

} // namespace Quarlen::Kel_cpp

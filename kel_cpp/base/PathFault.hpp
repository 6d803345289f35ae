#pragma once

#include <string>

namespace Quarlen::Kel_cpp {

/// The reason why a text is no path (`Platform::toPath` returns none), as the end of a sentence.
inline std::wstring pathFault(const std::wstring& text) {
    if (text.empty()) {
        return L"is empty";
    }
    return text.find(L'\0') != std::wstring::npos ? L"contains a null character"
                                                  : L"is not valid Unicode text";
}

} // namespace Quarlen::Kel_cpp

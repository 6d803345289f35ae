#include "std_util/PathString.hpp"

#include <utility>

#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

namespace StdUtil {

namespace Platform = Quarlen::Platform;

PathString::PathString(std::wstring text) : text(std::move(text)) {}

PathString::PathString(const wchar_t* text) : text(text != nullptr ? text : L"") {}

PathString::PathString(const std::filesystem::path& path) : text(Platform::fromPath(path)) {}

PathString& PathString::append(const PathString& component) {
    if (!component.empty()) {
        text = Platform::fromPath(Platform::joinedPath(path(), component.path()));
    }
    return *this;
}

std::filesystem::path PathString::path() const {
    return Platform::toPath(text);
}

} // namespace StdUtil

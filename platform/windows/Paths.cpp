#include "platform/Paths.hpp"

#include "platform/WindowsPathText.hpp"
#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileError.hpp"
#include "platform/windows/FinalPath.hpp"

namespace Quarlen::Platform {

std::filesystem::path absolutePath(const std::filesystem::path& path) {
    std::error_code failure;
    std::filesystem::path absolute = absolutePath(path, failure);
    if (failure) {
        throw std::system_error(failure);
    }
    return absolute;
}

std::filesystem::path absolutePath(const std::filesystem::path& path, std::error_code& failure) {
    std::wstring full = fullPath(path);
    failure = full.empty() ? lastFileError() : std::error_code();
    return full;
}

bool isAbsolutePath(const std::filesystem::path& path) {
    return isAbsoluteWindowsPath(path.native());
}

std::filesystem::path normalPath(const std::filesystem::path& path) {
    return normalWindowsPath(path.native());
}

std::filesystem::path joinedPath(const std::filesystem::path& folder,
                                 const std::filesystem::path& name) {
    return joinedWindowsPath(folder.native(), name.native());
}

std::filesystem::path resolvedPath(const std::filesystem::path& path) {
    const std::filesystem::path whole = absolutePath(path);
    std::filesystem::path existing = whole;
    std::filesystem::path missing;
    std::wstring found = finalPath(existing);
    while (found.empty() && existing.has_relative_path() && existing != existing.parent_path()) {
        missing = missing.empty() ? existing.filename() : existing.filename() / missing;
        existing = existing.parent_path();
        found = finalPath(existing);
    }
    return found.empty() ? whole : joinedPath(found, missing);
}

std::filesystem::path openablePath(const std::filesystem::path& path) {
    return extendedPath(path);
}

} // namespace Quarlen::Platform

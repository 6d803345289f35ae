#include "platform/Paths.hpp"

namespace Quarlen::Platform {

std::filesystem::path absolutePath(const std::filesystem::path& path) {
    return std::filesystem::absolute(path);
}

std::filesystem::path absolutePath(const std::filesystem::path& path, std::error_code& failure) {
    return std::filesystem::absolute(path, failure);
}

bool isAbsolutePath(const std::filesystem::path& path) {
    return path.is_absolute();
}

std::filesystem::path normalPath(const std::filesystem::path& path) {
    return path.lexically_normal();
}

std::filesystem::path joinedPath(const std::filesystem::path& folder,
                                 const std::filesystem::path& name) {
    return name.empty() ? folder : folder / name;
}

std::filesystem::path resolvedPath(const std::filesystem::path& path) {
    return std::filesystem::weakly_canonical(path);
}

std::filesystem::path openablePath(const std::filesystem::path& path) {
    return path;
}

} // namespace Quarlen::Platform

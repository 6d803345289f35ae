#include "platform/FileFacts.hpp"

namespace Quarlen::Platform {
namespace {

FileKind kindOf(const std::filesystem::path& path) {
    std::error_code ignored;
    return fileFacts(path, ignored).kind;
}

} // namespace

bool isRegularFile(const std::filesystem::path& path) {
    return kindOf(path) == FileKind::Regular;
}

bool isFolder(const std::filesystem::path& path) {
    return kindOf(path) == FileKind::Folder;
}

bool isThere(const std::filesystem::path& path) {
    const FileKind kind = kindOf(path);
    return kind != FileKind::Missing && kind != FileKind::Unknown;
}

} // namespace Quarlen::Platform

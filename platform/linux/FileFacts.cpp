#include "platform/FileFacts.hpp"

#include <cerrno>
#include <sys/stat.h>

namespace Quarlen::Platform {
namespace {

FileKind kindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return FileKind::Regular;
    }
    return S_ISDIR(mode) ? FileKind::Folder : FileKind::Other;
}

std::chrono::system_clock::time_point timeOf(const timespec& time) {
    using namespace std::chrono;
    return system_clock::time_point(
        duration_cast<system_clock::duration>(seconds(time.tv_sec) + nanoseconds(time.tv_nsec)));
}

} // namespace

FileFacts fileFacts(const std::filesystem::path& path, std::error_code& failure) {
    struct ::stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        failure = std::error_code(errno, std::generic_category());
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        return {.kind = isMissing ? FileKind::Missing : FileKind::Unknown};
    }
    failure.clear();
    return {.kind = kindOf(found.st_mode),
            .size = static_cast<std::uint64_t>(found.st_size),
            .written = timeOf(found.st_mtim)};
}

bool isLink(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_symlink(path, ignored);
}

} // namespace Quarlen::Platform

#include "platform/FilePrivacy.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace Quarlen::Platform {

namespace {

/// May read everything anyway.
constexpr uid_t superuser = 0;

} // namespace

bool isPrivate(const std::filesystem::path& file) noexcept {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0 &&
           (status.st_uid == ::geteuid() || status.st_uid == superuser);
}

} // namespace Quarlen::Platform

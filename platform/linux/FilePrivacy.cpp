#include "platform/FilePrivacy.hpp"

#include <sys/stat.h>

namespace Quarlen::Platform {

bool isPrivate(const std::filesystem::path& file) noexcept {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

} // namespace Quarlen::Platform

#include "platform/FileActions.hpp"

#include <system_error>

namespace Quarlen::Platform {

void createFolders(const std::filesystem::path& folder) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure) {
        throw std::system_error(failure, "cannot create directories");
    }
}

void copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
              Clock& /*clock*/) {
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
}

void renameFile(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::filesystem::rename(from, to);
}

void removeFile(const std::filesystem::path& file) noexcept {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

void removeFolder(const std::filesystem::path& folder) noexcept {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace Quarlen::Platform

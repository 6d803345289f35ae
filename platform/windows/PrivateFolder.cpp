#include "platform/PrivateFolder.hpp"

#include <random>
#include <system_error>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileError.hpp"

namespace Quarlen::Platform {

std::filesystem::path makePrivateFolder(const std::filesystem::path& parent,
                                        const std::string& prefix) {
    std::random_device random;
    for (;;) {
        std::filesystem::path folder = parent / (prefix + std::to_string(random()));
        if (::CreateDirectoryW(extendedPath(folder).c_str(), nullptr) != 0) {
            return folder;
        }
        // Where somebody else has made it, there are other names.
        if (const DWORD cause = ::GetLastError(); cause != ERROR_ALREADY_EXISTS) {
            throw std::system_error(fileError(cause), "cannot create directory");
        }
    }
}

} // namespace Quarlen::Platform

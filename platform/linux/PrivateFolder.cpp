#include "platform/PrivateFolder.hpp"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace Quarlen::Platform {

std::filesystem::path makePrivateFolder(const std::filesystem::path& parent,
                                        const std::string& prefix) {
    std::string name = (parent / (prefix + "XXXXXX")).string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::system_category());
    }
    return name;
}

} // namespace Quarlen::Platform

#include "platform/PrivateFolder.hpp"

#include <random>

namespace Quarlen::Platform {

std::filesystem::path makePrivateFolder(const std::filesystem::path& parent,
                                        const std::string& prefix) {
    std::random_device random;
    for (;;) {
        std::filesystem::path folder = parent / (prefix + std::to_string(random()));
        // False when somebody else has made it.
        if (std::filesystem::create_directory(folder)) {
            return folder;
        }
    }
}

} // namespace Quarlen::Platform

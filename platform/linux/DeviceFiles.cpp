#include "platform/DeviceFiles.hpp"

namespace Quarlen::Platform {

std::string deviceFile(const std::string& path) {
    return path;
}

} // namespace Quarlen::Platform

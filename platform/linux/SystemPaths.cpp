#include "platform/SystemPaths.hpp"

#include <array>
#include <cerrno>
#include <system_error>
#include <unistd.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {

std::filesystem::path executablePath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::filesystem::path systemConfigFolder() {
    return "/etc/kel_server";
}

std::wstring hostName() {
    std::array<char, 64> name{};
    // The system leaves a name that fills the buffer without an end; such a name is cut to what
    // fits.
    if (::gethostname(name.data(), name.size()) != 0 && errno != ENAMETOOLONG) {
        return {};
    }
    name.back() = '\0';
    return fromUtf8(name.data());
}

} // namespace Quarlen::Platform

#include "platform/PrivateFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

#include "platform/linux/Descriptor.hpp"

namespace Quarlen::Platform {

namespace {

void requireNoError(int error) {
    if (error != 0) {
        throw std::system_error(error, std::system_category());
    }
}

} // namespace

void appendPrivately(const std::filesystem::path& file, std::string_view content) {
    constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
    Descriptor opened(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, ownerOnly));
    requireNoError(opened.isOpen() && ::fchmod(opened.get(), ownerOnly) == 0 ? 0 : errno);
    requireNoError(opened.writeAll(content));
    requireNoError(opened.flush());
    requireNoError(opened.close());
}

} // namespace Quarlen::Platform

#include "platform/FlushFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Quarlen::Platform {

void flushFile(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    const int failure = ::fsync(descriptor) == 0 ? 0 : errno;
    ::close(descriptor);
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category());
    }
}

} // namespace Quarlen::Platform

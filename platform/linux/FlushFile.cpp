#include "platform/FlushFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <system_error>

#include "platform/linux/Descriptor.hpp"

namespace Quarlen::Platform {

void flushFile(const std::filesystem::path& file, Clock& /*clock*/) {
    const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const int failure = descriptor.isOpen() ? descriptor.flush() : errno;
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category());
    }
}

} // namespace Quarlen::Platform

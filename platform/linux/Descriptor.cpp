#include "platform/linux/Descriptor.hpp"

#include <cerrno>
#include <cstddef>
#include <unistd.h>
#include <utility>

namespace Quarlen::Platform {

int Descriptor::close() noexcept {
    const int closing = std::exchange(number, -1);
    return closing < 0 || ::close(closing) == 0 ? 0 : errno;
}

int Descriptor::writeAll(std::string_view content) const noexcept {
    while (!content.empty()) {
        const ssize_t written = ::write(number, content.data(), content.size());
        if (written >= 0) {
            content.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

int Descriptor::flush() const noexcept {
    return ::fsync(number) == 0 ? 0 : errno;
}

} // namespace Quarlen::Platform

#include "platform/StreamError.hpp"

#include <cerrno>

namespace Quarlen::Platform {

std::error_code streamError() noexcept {
    return {errno != 0 ? errno : EIO, std::generic_category()};
}

} // namespace Quarlen::Platform

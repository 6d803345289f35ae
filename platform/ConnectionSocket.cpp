#include "platform/ConnectionSocket.hpp"

#include "platform/ListeningSocket.hpp"

namespace Quarlen::Platform {

bool isResetAtStop(std::size_t bytes) noexcept {
    return oldConnectionsKeepTheAddress() && bytes <= bytesOfASecond;
}

} // namespace Quarlen::Platform

#include "platform/ConnectionSocket.hpp"

#include <sys/socket.h>

namespace Quarlen::Platform {

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_RD);
}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<int>(socket), SHUT_WR);
}

} // namespace Quarlen::Platform

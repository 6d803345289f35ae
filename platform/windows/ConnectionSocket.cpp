#include "platform/ConnectionSocket.hpp"

#include <winsock2.h>

namespace Quarlen::Platform {

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_RECEIVE);
}

void stopWriting(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_SEND);
}

} // namespace Quarlen::Platform

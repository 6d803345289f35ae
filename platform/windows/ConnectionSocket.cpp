#include "platform/ConnectionSocket.hpp"

#include <winsock2.h>

namespace Quarlen::Platform {

void stopReading(std::intptr_t socket) noexcept {
    ::shutdown(static_cast<SOCKET>(socket), SD_RECEIVE);
}

} // namespace Quarlen::Platform

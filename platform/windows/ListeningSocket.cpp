#include "platform/ListeningSocket.hpp"

#include <winsock2.h>

namespace Quarlen::Platform {

void claimAddress(std::intptr_t socket) noexcept {
    // SO_REUSEADDR would let two programs listen on one address here.
    const BOOL on = TRUE;
    ::setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                 reinterpret_cast<const char*>(&on), sizeof(on));
}

} // namespace Quarlen::Platform

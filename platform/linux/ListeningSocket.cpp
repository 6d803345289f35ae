#include "platform/ListeningSocket.hpp"

#include <sys/socket.h>

namespace Quarlen::Platform {

void claimAddress(std::intptr_t socket) noexcept {
    // Here the option only steps over old connections; a second listener is refused all the same.
    const int on = 1;
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

} // namespace Quarlen::Platform

#pragma once

#include <cstdint>

namespace Quarlen::Platform {

/// To be called between opening a socket and binding it, so that an address is either ours alone
/// or binding fails, and so that a restarted server does not have to wait for the connections of
/// the old one to time out. `socket` is the system's handle: a file descriptor or a SOCKET.
void claimAddress(std::intptr_t socket) noexcept;

} // namespace Quarlen::Platform

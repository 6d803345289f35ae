#pragma once

#include <cstdint>

namespace Quarlen::Platform {

/// Ends reads of a connection as if the other side had closed it; writes go on. `socket` is the
/// system's handle: a file descriptor or a SOCKET.
void stopReading(std::intptr_t socket) noexcept;

/// Tells the other side that nothing more comes; reads go on.
void stopWriting(std::intptr_t socket) noexcept;

} // namespace Quarlen::Platform

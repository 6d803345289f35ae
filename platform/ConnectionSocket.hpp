#pragma once

#include <cstddef>
#include <cstdint>

namespace Quarlen::Platform {

/// How many connections the process can have at a time, with everything else that it opens.
[[nodiscard]] std::size_t socketLimit() noexcept;

/// From now on reads and writes of a connection fail where they would wait. `socket` is the
/// system's handle: a file descriptor or a SOCKET.
void neverWait(std::intptr_t socket) noexcept;

/// Small pieces are sent without waiting for more to fill a packet.
void sendAtOnce(std::intptr_t socket) noexcept;

/// Whether the read or write of this thread that has just failed would have waited.
[[nodiscard]] bool wouldHaveWaited() noexcept;

/// Ends reads of a connection as if the other side had closed it; writes go on.
void stopReading(std::intptr_t socket) noexcept;

/// Tells the other side that nothing more comes; reads go on.
void stopWriting(std::intptr_t socket) noexcept;

} // namespace Quarlen::Platform

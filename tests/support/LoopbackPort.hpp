#pragma once

#include <cstdint>

#include "tests/support/TestSocket.hpp"

namespace Quarlen::Tests {

/// A port of the loopback interface on which nobody listens. Where the system can do that, it gives
/// the port to nobody else who asks for any, until the process ends: tests beside this one connect
/// thousands of times meanwhile.
std::uint16_t freePort();

/// Listens on a port of the loopback interface.
class TakenPort {
public:
    TakenPort();

    [[nodiscard]] std::uint16_t number() const { return socket.port(); }
    /// The connection of the next client, which becomes the caller's.
    [[nodiscard]] std::intptr_t accept() const;

private:
    TestSocket socket;
};

} // namespace Quarlen::Tests

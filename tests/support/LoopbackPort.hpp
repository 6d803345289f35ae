#pragma once

#include <cstdint>

#include "tests/support/TestSocket.hpp"

namespace Quarlen::Tests {

/// A port of the loopback interface on which nobody listens.
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

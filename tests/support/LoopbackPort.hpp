#pragma once

#include <cstdint>

namespace Quarlen::Tests {

/// A port of the loopback interface on which nobody listens.
std::uint16_t freePort();

/// Listens on a port of the loopback interface.
class TakenPort {
public:
    TakenPort();
    TakenPort(const TakenPort&) = delete;
    TakenPort& operator=(const TakenPort&) = delete;
    ~TakenPort();

    [[nodiscard]] std::uint16_t number() const { return port; }

private:
    int socket;
    std::uint16_t port;
};

} // namespace Quarlen::Tests

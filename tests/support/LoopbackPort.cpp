#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Tests {

std::uint16_t freePort() {
    TestSocket socket;
    socket.bindToLoopback();
    return socket.port();
}

TakenPort::TakenPort() {
    socket.bindToLoopback();
    socket.listen();
}

} // namespace Quarlen::Tests

#include "tests/support/LoopbackPort.hpp"

#include "platform/NextClient.hpp"

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

std::intptr_t TakenPort::accept() const {
    return Platform::nextClient([this] { return socket.native(); }, {});
}

} // namespace Quarlen::Tests

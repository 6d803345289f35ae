#include "tests/support/LoopbackPort.hpp"

#include <mutex>
#include <utility>
#include <vector>

#include "platform/NextClient.hpp"

namespace Quarlen::Tests {

std::uint16_t freePort() {
    static std::mutex mutex;
    static std::vector<TestSocket> holders;
    TestSocket socket;
    const bool shares = socket.shareItsPort();
    socket.bindToLoopback();
    const std::uint16_t port = socket.port();
    if (shares) {
        const std::scoped_lock lock(mutex);
        holders.push_back(std::move(socket));
    }
    return port;
}

TakenPort::TakenPort() {
    socket.bindToLoopback();
    socket.listen();
}

std::intptr_t TakenPort::accept() const {
    return Platform::nextClient([this] { return socket.native(); }, {});
}

} // namespace Quarlen::Tests

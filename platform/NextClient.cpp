#include "platform/NextClient.hpp"

#include <chrono>

namespace Quarlen::Platform {

std::intptr_t nextClient(const std::function<std::intptr_t()>& listening,
                         const ClientSource& source) {
    constexpr std::chrono::milliseconds pauseAfterFailure{50};
    for (;;) {
        const std::intptr_t socket = listening();
        const Accepted accepted = socket != noSocket ? source.accept(socket) : Accepted{};
        if (socket == noSocket || accepted.connection != noSocket) {
            return accepted.connection;
        }
        const AcceptFault fault = acceptFaultOf(accepted.error.value());
        if (fault == AcceptFault::SocketEnded) {
            return noSocket;
        }
        if (fault == AcceptFault::Passing) {
            source.clock.sleepFor(pauseAfterFailure);
        }
    }
}

} // namespace Quarlen::Platform

#pragma once

#include <cstdint>
#include <functional>

#include "platform/Clock.hpp"
#include "platform/ListeningSocket.hpp"

namespace Quarlen::Platform {

/// What a server takes its clients with, with the production defaults.
struct ClientSource {
    Clock& clock = systemClock();
    std::function<Accepted(std::intptr_t listening)> accept = acceptConnection;
};

/// The next client of a listening socket, however many failures pass before it comes; there is a
/// pause after each of them. `noSocket` once the socket has ended or `listening`, which is asked
/// before each try, tells of none: so another thread ends the wait.
[[nodiscard]] std::intptr_t nextClient(const std::function<std::intptr_t()>& listening,
                                       const ClientSource& source);

} // namespace Quarlen::Platform

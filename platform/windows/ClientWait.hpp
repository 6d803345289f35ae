#pragma once

#include <cstdint>
#include <functional>
#include <winsock2.h>

#include "platform/ListeningSocket.hpp"

namespace Quarlen::Platform {

/// Waits for a client of a listening socket: what `select` gives, which leaves its error to
/// WSAGetLastError.
using ClientWait = std::function<int(SOCKET listening)>;

/// Waits by `wait` and accepts the client that has come. The error of a wait that fails is the
/// result's, so that a server pauses before it tries again.
[[nodiscard]] Accepted acceptAfter(const ClientWait& wait, std::intptr_t listening);

} // namespace Quarlen::Platform

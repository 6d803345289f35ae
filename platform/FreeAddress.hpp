#pragma once

#include <functional>
#include <optional>
#include <system_error>
#include <vector>

#include "platform/Clock.hpp"
#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Platform {

/// Binds a socket of its own to an IPv4 address, as a server would, and gives the address back at
/// once. The cause where it cannot be bound.
[[nodiscard]] std::error_code tryToBind(const SocketAddress& address) noexcept;

/// Whether the cause is that the address is taken.
[[nodiscard]] bool isTaken(const std::error_code& error) noexcept;

/// The IPv4 addresses on which programs of this machine listen, "0.0.0.0" for all of them; none
/// where the system does not tell.
[[nodiscard]] std::optional<std::vector<SocketAddress>> listeningAddresses();

/// Whether one of those who listen would get the clients of this address.
[[nodiscard]] bool isListenedOn(const SocketAddress& address,
                                const std::vector<SocketAddress>& listening);

/// What the wait for an address uses, with the production defaults.
struct AddressProbe {
    Clock& clock = systemClock();
    std::function<std::error_code(const SocketAddress&)> bind = tryToBind;
    std::function<std::optional<std::vector<SocketAddress>>()> listening = listeningAddresses;
};

/// Waits for some seconds while an address is taken and nobody listens there: what keeps it is the
/// rest of connections of a server that has ended. Returns at once in all other cases; binding then
/// tells the cause. Port 0 is always free.
void waitForFreeAddress(const SocketAddress& address, const AddressProbe& probe = {});

} // namespace Quarlen::Platform

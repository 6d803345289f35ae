#include "platform/FreeAddress.hpp"

#include <algorithm>
#include <chrono>
#include <string_view>

namespace Quarlen::Platform {

namespace {

constexpr std::string_view everyAddress = "0.0.0.0";

bool isKeptByNobody(const SocketAddress& address, const AddressProbe& probe) {
    if (!isTaken(probe.bind(address))) {
        return false;
    }
    const auto listening = probe.listening();
    return listening && !isListenedOn(address, *listening);
}

} // namespace

bool isListenedOn(const SocketAddress& address, const std::vector<SocketAddress>& listening) {
    return std::any_of(listening.begin(), listening.end(), [&](const SocketAddress& each) {
        return each.port == address.port &&
               (each.host == address.host || each.host == everyAddress ||
                address.host == everyAddress);
    });
}

void waitForFreeAddress(const SocketAddress& address, const AddressProbe& probe) {
    constexpr std::chrono::seconds maxWaitForAddress{5};
    constexpr std::chrono::milliseconds pause{250};
    const auto deadline = probe.clock.now() + maxWaitForAddress;
    while (address.port != 0 && isKeptByNobody(address, probe) && probe.clock.now() < deadline) {
        probe.clock.sleepFor(pause);
    }
}

} // namespace Quarlen::Platform

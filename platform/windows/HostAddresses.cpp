#include "platform/HostAddresses.hpp"

#include <array>
#include <memory>

// The socket headers must come in this order.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
// clang-format on

#include "platform/TextEncoding.hpp"
#include "platform/windows/SocketLibrary.hpp"

namespace Quarlen::Platform {

std::vector<std::wstring> ipv4AddressesOf(const std::wstring& host) {
    const SocketLibrary sockets;
    ADDRINFOW hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* found = nullptr;
    if (!sockets.isStarted() || ::GetAddrInfoW(host.c_str(), nullptr, &hints, &found) != 0) {
        return {};
    }
    const std::unique_ptr<ADDRINFOW, decltype(&::FreeAddrInfoW)> list(found, ::FreeAddrInfoW);
    std::vector<std::wstring> addresses;
    for (const ADDRINFOW* each = list.get(); each != nullptr; each = each->ai_next) {
        std::array<char, INET_ADDRSTRLEN> text{};
        const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(each->ai_addr);
        if (::inet_ntop(AF_INET, &ipv4.sin_addr, text.data(), text.size()) != nullptr) {
            addresses.push_back(fromUtf8(text.data()));
        }
    }
    return addresses;
}

} // namespace Quarlen::Platform

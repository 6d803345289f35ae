#include "platform/HostAddresses.hpp"

#include <arpa/inet.h>
#include <array>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {

std::vector<std::wstring> ipv4AddressesOf(const std::wstring& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(toUtf8(host).c_str(), nullptr, &hints, &found) != 0) {
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, ::freeaddrinfo);
    std::vector<std::wstring> addresses;
    for (const addrinfo* each = list.get(); each != nullptr; each = each->ai_next) {
        std::array<char, INET_ADDRSTRLEN> text{};
        const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(each->ai_addr);
        if (::inet_ntop(AF_INET, &ipv4.sin_addr, text.data(), text.size()) != nullptr) {
            addresses.push_back(fromUtf8(text.data()));
        }
    }
    return addresses;
}

} // namespace Quarlen::Platform

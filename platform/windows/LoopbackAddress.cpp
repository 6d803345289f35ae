#include "platform/LoopbackAddress.hpp"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace Quarlen::Platform {

bool isLoopbackIpv4(const std::string& address) {
    constexpr auto loopbackNet = 127U;
    in_addr parsed{};
    return ::inet_pton(AF_INET, address.c_str(), &parsed) == 1 &&
           ntohl(parsed.s_addr) >> 24U == loopbackNet;
}

bool isLoopbackIpv6(const std::string& address) {
    in6_addr parsed{};
    return ::inet_pton(AF_INET6, address.c_str(), &parsed) == 1 && IN6_IS_ADDR_LOOPBACK(&parsed);
}

} // namespace Quarlen::Platform

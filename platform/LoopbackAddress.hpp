#pragma once

#include <string>

namespace Quarlen::Platform {

/// True for an IPv4 address 127.x.x.x as four decimal numbers, nothing around it.
[[nodiscard]] bool isLoopbackIpv4(const std::string& address);

/// True for the IPv6 address ::1 in each of its spellings, without brackets.
[[nodiscard]] bool isLoopbackIpv6(const std::string& address);

} // namespace Quarlen::Platform

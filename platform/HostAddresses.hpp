#pragma once

#include <string>
#include <vector>

#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Platform {

/// The IPv4 addresses of a host, in the order of the system's resolver; empty when it has none.
std::vector<std::wstring> ipv4AddressesOf(const std::wstring& host);

/// The first of the addresses that belongs to an adapter which people can reach: up, with a
/// hardware address, not a switch of virtual machines. The first one where none does. A machine's
/// own name stands for the addresses of all its adapters.
std::wstring preferredAddress(const std::vector<std::wstring>& addresses,
                              const std::vector<NetworkAdapter>& adapters);

} // namespace Quarlen::Platform

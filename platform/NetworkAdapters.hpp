#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Quarlen::Platform {

struct NetworkAdapter {
    /// The system's own name where people type that name ("eth0"); empty on Windows.
    std::wstring systemName;
    std::wstring friendlyName;
    std::wstring description;
    bool up = false;
    /// First unicast address as dotted text; empty when there is none or it is not IPv4.
    std::wstring firstIpv4Address;
    /// Length of the hardware address in bytes; 0 for adapters without one (loopback, tunnels).
    std::size_t hardwareAddressLength = 0;
};

/// In the system's order. Empty when the list cannot be read.
std::vector<NetworkAdapter> networkAdapters();

/// True for "wg", "eth" and "wlan" followed by at least one character.
bool isAdapterName(const std::wstring& address);

/// The IPv4 address of the adapter that `name` stands for; empty when none matches. The name says
/// which kind is meant (contains "eth", contains "wlan"); the first adapter of that kind that is
/// up and usable wins, after one that has exactly that system name.
std::wstring chooseAdapterAddress(const std::wstring& name,
                                  const std::vector<NetworkAdapter>& adapters);

} // namespace Quarlen::Platform

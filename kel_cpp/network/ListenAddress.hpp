#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Kel_cpp {

/// The exception for an address that the runtime's server cannot listen on.
[[nodiscard]] KelApiException listenError(const std::wstring& address, const std::wstring& cause);

struct ListenAddress {
    std::wstring host;
    /// 0 asks for any free port.
    std::uint16_t port = 0;
};

/// Takes "host:port" and "http://host[:port]" (port 80 when it is missing) apart. Throws
/// `KelApiException` (code Server) that names address and cause.
ListenAddress parseServerAddress(const std::wstring& address);

/// Throws as `parseServerAddress`, also for port 0, because clients do not know a port that the
/// system chooses.
void requireFixedPort(const std::wstring& address);

/// The meaning of a host, determined without a name server.
struct HostMeaning {
    /// Empty when the address is unknown or the adapter has none.
    std::wstring ipv4;
    bool isHostName = false;
};

/// Interprets the host as, in this order: an IPv4 address, the system's own name of an adapter, an
/// adapter name that stands for a kind of adapter ("eth0", "wlan0"), else a host name.
HostMeaning interpretHost(const std::wstring& host,
                          const std::vector<Platform::NetworkAdapter>& adapters);

} // namespace Quarlen::Kel_cpp

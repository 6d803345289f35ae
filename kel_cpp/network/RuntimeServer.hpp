#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Kel_cpp {

/// The runtime's network server: listens on any number of addresses and keeps the clients that
/// connect. There is no client protocol yet: received data is read and dropped. The server owns one
/// `Listener` for each address, which owns its clients, and one I/O thread, which serves all
/// sockets and exists only while an address is open. All operations are thread-safe. At most 256
/// clients are kept; further clients are closed at once.
class RuntimeServer {
public:
    using AdapterList = std::function<std::vector<Platform::NetworkAdapter>()>;

    explicit RuntimeServer(AdapterList adapters = Platform::networkAdapters);
    RuntimeServer(const RuntimeServer&) = delete;
    RuntimeServer& operator=(const RuntimeServer&) = delete;
    ~RuntimeServer();

    /// `address` is "host:port" or "http://host[:port]"; the host an IPv4 address, a host name or
    /// an adapter name. Returns "ipv4:port" (the real port when 0 was asked for). Throws
    /// `KelApiException` (code Server) that names the address and the cause.
    std::wstring start(const std::wstring& address);
    /// Closes the listener and its clients. Throws `KelApiException` (code Server) for an address
    /// that nothing listens on.
    void stop(const std::wstring& address);
    void stopAll();

    /// One text per connected client, "ipv4:port".
    [[nodiscard]] std::vector<std::wstring> clients() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace Quarlen::Kel_cpp

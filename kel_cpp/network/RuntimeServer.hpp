#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kel_cpp/base/ClientLimits.hpp"
#include "kel_cpp/history/RunLog.hpp"
#include "kel_cpp/history/StatusLog.hpp"
#include "kel_cpp/rpc/ServerModel.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/FreeAddress.hpp"
#include "platform/NetworkAdapters.hpp"

namespace Quarlen::Kel_cpp {

/// What the server takes from the settings when its first address opens.
struct ClientSettings {
    ClientLimits limits;
    /// The file with the tokens of clients elsewhere; empty for none.
    std::filesystem::path tokenFile;
    /// How soon a change of that file counts for those who are connected.
    std::chrono::milliseconds tokenCheckInterval{5000};
    /// For a client to read its last reply of so many bytes and to end its side.
    Platform::ReadingTime readingTime = Platform::readingTime;
    /// For a client to begin a WebSocket, and to take its end.
    std::chrono::milliseconds handshakeTime{10'000};
    /// The bytes that the system keeps for a client; none for what it likes.
    std::optional<int> sendBuffer = {};
};

/// The runtime's network server: on each address it serves HTTP/1.1 and WebSockets with the methods
/// of JSON-RPC, the page for people and the reports. One `Listener` for each address accepts the
/// clients, which are in one list; one I/O thread serves all sockets, and the tasks of the clients
/// have threads of their own; both exist only while an address is open. All operations are
/// thread-safe.
class RuntimeServer {
public:
    using AdapterList = std::function<std::vector<Platform::NetworkAdapter>()>;
    using Settings = std::function<ClientSettings()>;

    /// What the server serves; `statuses` and `runs` must outlive it.
    struct Sources {
        ServerModel model;
        StatusLog& statuses;
        RunLog& runs;
        Settings settings;
        /// How a start waits for an address that nobody listens on.
        Platform::AddressProbe probe = {};
    };

    explicit RuntimeServer(Sources sources, AdapterList adapters = Platform::networkAdapters);
    RuntimeServer(const RuntimeServer&) = delete;
    RuntimeServer& operator=(const RuntimeServer&) = delete;
    // NOLINTNEXTLINE(bugprone-exception-escape): only where there is no memory, and then all ends
    ~RuntimeServer();

    /// `address` is "host:port" or "http://host[:port]"; the host an IPv4 address, a host name or
    /// an adapter name. Returns "ipv4:port" (the real port when 0 was asked for). Throws
    /// `KelApiException` (code Server) that names the address and the cause.
    std::wstring start(const std::wstring& address);
    /// Closes the listener and its clients. With the last address the tasks end, too: a sequence
    /// that a client started is cancelled and has ended when it returns. Throws `KelApiException`
    /// (code Server) for an address that nothing listens on.
    void stop(const std::wstring& address);
    void stopAll();

    /// One text per connected client, "ipv4:port", with the name of its token before it when it has
    /// one.
    [[nodiscard]] std::vector<std::wstring> clients() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace Quarlen::Kel_cpp

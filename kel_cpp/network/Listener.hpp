#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

namespace Quarlen::Kel_cpp {

/// Number of clients over all listeners. Used on the I/O thread only.
struct ClientCount {
    static constexpr std::size_t maxClients = 256;
    std::size_t current = 0;
};

std::wstring endpointText(const asio::ip::tcp::endpoint& endpoint);

/// Returns an acceptor that is bound exclusively and listens. Throws `std::system_error`.
asio::ip::tcp::acceptor openAcceptor(asio::io_context& context,
                                     const asio::ip::tcp::endpoint& endpoint);

/// One listening socket and the clients that it has accepted. All operations except construction
/// run on the I/O thread.
class Listener : public std::enable_shared_from_this<Listener> {
public:
    /// `clientCount` must outlive the I/O context.
    Listener(asio::ip::tcp::acceptor listening, ClientCount& clientCount);

    void begin();
    /// Closes the listening socket and all of its clients.
    void close();
    /// In the order in which the clients connected.
    [[nodiscard]] std::vector<std::wstring> clientNames() const;

private:
    struct Client;
    using ClientId = std::uint64_t;

    void accept();
    void accepted(const std::error_code& error, asio::ip::tcp::socket socket);
    void pauseAccepting(const std::error_code& error);
    void take(asio::ip::tcp::socket socket);
    void readAndDrop(ClientId id, const std::shared_ptr<Client>& client);
    void forget(ClientId id);

    asio::ip::tcp::acceptor acceptor;
    asio::steady_timer retryTimer;
    ClientCount& count;
    ClientId lastId = 0;
    std::map<ClientId, std::shared_ptr<Client>> clients;
    bool acceptFailed = false;
};

} // namespace Quarlen::Kel_cpp

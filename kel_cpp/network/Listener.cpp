#include "kel_cpp/network/Listener.hpp"

#include <array>
#include <chrono>
#include <utility>

#include <asio/buffer.hpp>

#include "platform/ListeningSocket.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

using asio::ip::tcp;

struct Listener::Client {
    Client(tcp::socket connected, std::wstring peer)
        : socket(std::move(connected)), name(std::move(peer)) {}

    tcp::socket socket;
    std::wstring name;
    std::array<char, 1024> dropped{};
};

std::wstring endpointText(const tcp::endpoint& endpoint) {
    return Platform::fromUtf8(endpoint.address().to_string()) + L":" +
           std::to_wstring(endpoint.port());
}

tcp::acceptor openAcceptor(asio::io_context& context, const tcp::endpoint& endpoint) {
    tcp::acceptor acceptor(context);
    acceptor.open(endpoint.protocol());
    Platform::bindExclusively(static_cast<std::intptr_t>(acceptor.native_handle()));
    acceptor.bind(endpoint);
    acceptor.listen();
    return acceptor;
}

Listener::Listener(tcp::acceptor listening, ClientCount& clientCount)
    : acceptor(std::move(listening)), retryTimer(acceptor.get_executor()), count(clientCount) {}

void Listener::begin() {
    accept();
}

void Listener::close() {
    std::error_code ignored;
    acceptor.close(ignored);
    retryTimer.cancel();
    for (const auto& [id, client] : clients) {
        client->socket.close(ignored);
    }
    count.current -= clients.size();
    clients.clear();
}

std::vector<std::wstring> Listener::clientNames() const {
    std::vector<std::wstring> names;
    for (const auto& [id, client] : clients) {
        names.push_back(client->name);
    }
    return names;
}

void Listener::accept() {
    acceptor.async_accept(
        [self = shared_from_this()](const std::error_code& error, tcp::socket socket) {
            self->accepted(error, std::move(socket));
        });
}

void Listener::accepted(const std::error_code& error, tcp::socket socket) {
    if (!acceptor.is_open()) {
        return;
    }
    if (error) {
        pauseAccepting(error);
        return;
    }
    acceptFailed = false;
    accept();
    take(std::move(socket));
}

/// A connection that cannot be accepted (no file descriptor is free) stays pending, so an immediate
/// retry would spin.
void Listener::pauseAccepting(const std::error_code& error) {
    constexpr std::chrono::milliseconds pause{100};
    if (!std::exchange(acceptFailed, true)) {
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/network/Listener", __LINE__,
                                         L"Cannot accept clients: %s",
                                         Platform::errorText(error).c_str());
    }
    retryTimer.expires_after(pause);
    retryTimer.async_wait([self = shared_from_this()](const std::error_code& cancelled) {
        if (!cancelled && self->acceptor.is_open()) {
            self->accept();
        }
    });
}

/// Closes the socket of a client that is beyond the limit or already gone.
void Listener::take(tcp::socket socket) {
    std::error_code error;
    const tcp::endpoint peer = socket.remote_endpoint(error);
    if (error || count.current >= ClientCount::maxClients) {
        return;
    }
    // Detects clients that disappeared without closing the connection.
    socket.set_option(asio::socket_base::keep_alive(true), error);
    auto client = std::make_shared<Client>(std::move(socket), endpointText(peer));
    const ClientId id = ++lastId;
    clients.emplace(id, client);
    ++count.current;
    readAndDrop(id, client);
}

void Listener::readAndDrop(ClientId id, const std::shared_ptr<Client>& client) {
    client->socket.async_read_some(
        asio::buffer(client->dropped),
        [self = shared_from_this(), id, client](const std::error_code& error, std::size_t) {
            if (error) {
                self->forget(id);
            } else if (client->socket.is_open()) {
                self->readAndDrop(id, client);
            }
        });
}

void Listener::forget(ClientId id) {
    count.current -= clients.erase(id);
}

} // namespace Quarlen::Kel_cpp

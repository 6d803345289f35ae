#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace Quarlen::Kel_cpp {

class AccessTokens;

/// One client of the server. Used on the I/O thread only.
class Connection {
public:
    using Message = std::shared_ptr<const std::string>;

    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    virtual ~Connection() = default;

    /// The present while the client is being served.
    [[nodiscard]] virtual std::chrono::steady_clock::time_point lastUsed() const = 0;
    /// A client that may do nothing.
    [[nodiscard]] virtual bool isStranger() const = 0;
    /// Sends a notification to a client that has subscribed; `number` is that of a status text,
    /// else 0. One that `mayBeDropped` is left out for a client that lags behind.
    virtual void notify(const Message& message, std::uint64_t number, bool mayBeDropped) = 0;
    /// Ends the connection to make room for another one.
    virtual void makeRoom() = 0;
    /// Ends the connection when the token that it came with is no longer valid.
    virtual void checkToken(const AccessTokens& /*tokens*/) {}
    /// Ends the connection at once.
    virtual void close() = 0;
    /// Ends the connection because the server stops.
    virtual void leave() { close(); }
};

using ClientId = std::uint64_t;

/// The clients of all addresses of one server. Used on the I/O thread, but for the names.
class ClientList {
public:
    explicit ClientList(std::size_t maxClients) : maxClients(maxClients) {}
    ClientList(const ClientList&) = delete;
    ClientList& operator=(const ClientList&) = delete;
    ~ClientList() = default;

    /// `address` is the one that the client connected to. When the list is full, the client that
    /// has been idle for the longest time goes, strangers first.
    ClientId add(std::shared_ptr<Connection> connection, const std::wstring& address,
                 const std::wstring& name);
    /// The same client goes on with another connection object. False when it has gone meanwhile.
    [[nodiscard]] bool replace(ClientId id, std::shared_ptr<Connection> connection);
    void rename(ClientId id, const std::wstring& name);
    void remove(ClientId id);
    /// Ends the connection of the client that has been idle for the longest time, strangers first,
    /// unless another one is ending for this reason already.
    void makeRoom();
    void checkTokens(const AccessTokens& tokens);
    void notify(const Connection::Message& message, std::uint64_t number, bool mayBeDropped);
    /// Ends the connections of one address, and those that are being ended.
    void closeAll(const std::wstring& address);

    /// The client stays in `names` while the returned object lives, even when its connection ends.
    /// Any thread may call it.
    [[nodiscard]] std::shared_ptr<const void> keepListed(const std::wstring& name);
    /// In the order in which the clients connected, those that are only kept last.
    [[nodiscard]] std::vector<std::wstring> names() const;

private:
    struct Entry {
        std::shared_ptr<Connection> connection;
        std::wstring address;
        std::wstring name;
    };

    /// Names of clients that stay listed. It may outlive the list.
    struct Kept {
        std::mutex mutex;
        std::multiset<std::wstring> names;
    };

    void dropLongestIdle();

    const std::size_t maxClients;
    mutable std::mutex mutex;
    /// Changed on the I/O thread with the lock held, read there without it.
    std::map<ClientId, Entry> clients;
    ClientId lastId = 0;
    /// Clients that have left the list, but whose connections take a while to end.
    std::vector<std::weak_ptr<Connection>> leaving;
    const std::shared_ptr<Kept> kept = std::make_shared<Kept>();
};

} // namespace Quarlen::Kel_cpp

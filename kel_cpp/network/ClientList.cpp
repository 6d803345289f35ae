#include "kel_cpp/network/ClientList.hpp"

#include <algorithm>
#include <utility>

namespace Quarlen::Kel_cpp {

ClientId ClientList::add(std::shared_ptr<Connection> connection, const std::wstring& address,
                         const std::wstring& name) {
    if (clients.size() >= maxClients) {
        dropLongestIdle();
    }
    const std::lock_guard lock(mutex);
    clients.emplace(++lastId, Entry{std::move(connection), address, name});
    return lastId;
}

void ClientList::makeRoom() {
    const bool isEnding = std::any_of(leaving.begin(), leaving.end(),
                                      [](const auto& each) { return !each.expired(); });
    if (!isEnding) {
        dropLongestIdle();
    }
}

void ClientList::dropLongestIdle() {
    const auto worth = [](const auto& client) {
        const Connection& connection = *client.second.connection;
        return std::pair(!connection.isStranger(), connection.lastUsed());
    };
    const auto idle =
        std::min_element(clients.begin(), clients.end(), [&](const auto& left, const auto& right) {
            return worth(left) < worth(right);
        });
    if (idle != clients.end()) {
        // It ends later; until then it must not be chosen again.
        const auto connection = idle->second.connection;
        remove(idle->first);
        std::erase_if(leaving, [](const auto& each) { return each.expired(); });
        leaving.push_back(connection);
        connection->makeRoom();
    }
}

bool ClientList::replace(ClientId id, std::shared_ptr<Connection> connection) {
    const std::lock_guard lock(mutex);
    const auto found = clients.find(id);
    if (found != clients.end()) {
        found->second.connection = std::move(connection);
    }
    return found != clients.end();
}

void ClientList::rename(ClientId id, const std::wstring& name) {
    const std::lock_guard lock(mutex);
    const auto found = clients.find(id);
    if (found != clients.end()) {
        found->second.name = name;
    }
}

void ClientList::remove(ClientId id) {
    const std::lock_guard lock(mutex);
    clients.erase(id);
}

void ClientList::notify(const Connection::Message& message, std::uint64_t number,
                        bool mayBeDropped) {
    for (const auto& [id, client] : clients) {
        client.connection->notify(message, number, mayBeDropped);
    }
}

void ClientList::closeAll(const std::wstring& address) {
    std::vector<std::shared_ptr<Connection>> closing;
    {
        const std::lock_guard lock(mutex);
        std::erase_if(clients, [&](const auto& client) {
            const bool belongs = client.second.address == address;
            if (belongs) {
                closing.push_back(client.second.connection);
            }
            return belongs;
        });
    }
    for (const auto& each : leaving) {
        closing.push_back(each.lock());
    }
    for (const auto& connection : closing) {
        if (connection) {
            connection->leave();
        }
    }
}

void ClientList::checkTokens(const AccessTokens& tokens) {
    // A connection that ends leaves the list later.
    for (const auto& [id, client] : clients) {
        client.connection->checkToken(tokens);
    }
}

std::shared_ptr<const void> ClientList::keepListed(const std::wstring& name) {
    const std::lock_guard lock(kept->mutex);
    const auto place = kept->names.insert(name);
    return {name.c_str(), [place, kept = kept](const void*) {
                const std::lock_guard keptLock(kept->mutex);
                kept->names.erase(place);
            }};
}

std::vector<std::wstring> ClientList::names() const {
    std::vector<std::wstring> names;
    {
        const std::lock_guard lock(mutex);
        for (const auto& [id, client] : clients) {
            names.push_back(client.name);
        }
    }
    const std::lock_guard lock(kept->mutex);
    for (const std::wstring& name : kept->names) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    return names;
}

} // namespace Quarlen::Kel_cpp

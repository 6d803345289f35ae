#include "kel_cpp/network/RuntimeServer.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/network/ClientList.hpp"
#include "kel_cpp/network/Endpoints.hpp"
#include "kel_cpp/network/ListenAddress.hpp"
#include "kel_cpp/network/Listener.hpp"
#include "kel_cpp/network/ServerFeed.hpp"
#include "kel_cpp/network/ServerService.hpp"
#include "platform/HostAddresses.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

using boost::asio::ip::tcp;

/// Throws `boost::system::system_error` with the cause why the host has no address.
boost::asio::ip::address_v4 resolveHostName(const std::wstring& host,
                                            const std::vector<Platform::NetworkAdapter>& adapters) {
    const std::wstring address =
        Platform::preferredAddress(Platform::ipv4AddressesOf(host), adapters);
    if (!address.empty()) {
        return boost::asio::ip::make_address_v4(Platform::toUtf8(address));
    }
    boost::asio::io_context context;
    tcp::resolver resolver(context);
    const auto found = resolver.resolve(tcp::v4(), Platform::toUtf8(host), "");
    return found.begin()->endpoint().address().to_v4();
}

tcp::endpoint findEndpoint(const std::wstring& address,
                           const RuntimeServer::AdapterList& adapters) {
    const ListenAddress parsed = parseServerAddress(address);
    const std::vector<Platform::NetworkAdapter> present = adapters();
    const HostMeaning meaning = interpretHost(parsed.host, present);
    if (meaning.isHostName) {
        return {resolveHostName(parsed.host, present), parsed.port};
    }
    if (meaning.ipv4.empty()) {
        throw listenError(address, L"no network adapter and no IPv4 address belongs to \"" +
                                       parsed.host + L"\"");
    }
    return {boost::asio::ip::make_address_v4(Platform::toUtf8(meaning.ipv4)), parsed.port};
}

} // namespace

class RuntimeServer::Implementation {
public:
    Implementation(Sources from, AdapterList adapterList);

    std::wstring start(const std::wstring& address);
    void stop(const std::wstring& address);
    void stopAll();
    [[nodiscard]] std::vector<std::wstring> clients() const;

private:
    std::wstring listen(const tcp::endpoint& endpoint, const std::wstring& host);
    void open();
    void endIdleService();
    [[nodiscard]] std::shared_ptr<ClientList> currentClients() const;
    void setClients(std::shared_ptr<ClientList> list);

    const Sources sources;
    const AdapterList adapters;
    /// What the logs call holds it, too: they live longer than the server.
    const std::shared_ptr<ServerFeed> feed = std::make_shared<ServerFeed>();
    /// Held for whole operations; neither the I/O thread nor a task takes it.
    std::mutex mutex;
    std::unique_ptr<ServerService> service;
    std::map<std::wstring, std::shared_ptr<Listener>> listeners;
    /// A task asks for the clients while `stop` waits for the task.
    mutable std::mutex clientsMutex;
    std::shared_ptr<ClientList> clientList;
};

RuntimeServer::Implementation::Implementation(Sources from, AdapterList adapterList)
    : sources(std::move(from)), adapters(std::move(adapterList)) {
    sources.statuses.listen(
        [feed = feed](const StatusEntry& status) { feed->statusChanged(status); });
    sources.runs.onProgress(
        [feed = feed](const JobProgress& progress) { feed->jobProgressed(progress); });
    sources.runs.onEnd([feed = feed](const RunSummary& run) { feed->runEnded(run); });
}

std::wstring RuntimeServer::Implementation::start(const std::wstring& address) {
    try {
        // The name resolution and the wait can take long, so the lock is not held.
        const tcp::endpoint endpoint = findEndpoint(address, adapters);
        Platform::waitForFreeAddress(
            {.host = endpoint.address().to_string(), .port = endpoint.port()}, sources.probe);
        const std::lock_guard lock(mutex);
        return listen(endpoint, parseServerAddress(address).host);
    } catch (const boost::system::system_error& error) {
        throw listenError(address, Platform::errorText(error.code()));
    }
}

std::wstring RuntimeServer::Implementation::listen(const tcp::endpoint& endpoint,
                                                   const std::wstring& host) {
    open();
    try {
        tcp::acceptor acceptor = openAcceptor(*service->io().ioContext(), endpoint);
        std::wstring name = endpointText(acceptor.local_endpoint());
        const auto listener =
            std::make_shared<Listener>(std::move(acceptor), service->sharedByConnections(),
                                       ServedAddress{name, Platform::toUtf8(host)});
        listeners.emplace(name, listener);
        service->io().call([&] { listener->begin(); });
        return name;
    } catch (const boost::system::system_error&) {
        endIdleService();
        throw;
    }
}

void RuntimeServer::Implementation::open() {
    if (service) {
        return;
    }
    const ClientSettings settings = sources.settings();
    setClients(std::make_shared<ClientList>(settings.limits.maxClients));
    service = std::make_unique<ServerService>(sources, settings, *clientList, *feed);
}

void RuntimeServer::Implementation::stop(const std::wstring& address) {
    const std::lock_guard lock(mutex);
    const auto found = listeners.find(address);
    if (found == listeners.end()) {
        throw runtimeError(ErrorCode::Server, L"nothing listens on \"" + address + L"\"");
    }
    if (listeners.size() == 1) {
        service->endTasks();
    }
    service->io().call([&] { found->second->close(); });
    listeners.erase(found);
    endIdleService();
}

void RuntimeServer::Implementation::stopAll() {
    const std::lock_guard lock(mutex);
    if (service) {
        service->endTasks();
    }
    for (const auto& [address, listener] : listeners) {
        service->io().call([&closing = *listener] { closing.close(); });
    }
    listeners.clear();
    endIdleService();
}

void RuntimeServer::Implementation::endIdleService() {
    if (listeners.empty() && service) {
        service.reset();
        setClients(nullptr);
    }
}

std::shared_ptr<ClientList> RuntimeServer::Implementation::currentClients() const {
    const std::lock_guard lock(clientsMutex);
    return clientList;
}

void RuntimeServer::Implementation::setClients(std::shared_ptr<ClientList> list) {
    const std::lock_guard lock(clientsMutex);
    clientList = std::move(list);
}

std::vector<std::wstring> RuntimeServer::Implementation::clients() const {
    const auto list = currentClients();
    return list ? list->names() : std::vector<std::wstring>();
}

RuntimeServer::RuntimeServer(Sources sources, AdapterList adapters)
    : implementation(std::make_unique<Implementation>(std::move(sources), std::move(adapters))) {}

// NOLINTNEXTLINE(bugprone-exception-escape): only where there is no memory, and then all ends
RuntimeServer::~RuntimeServer() {
    implementation->stopAll();
}

std::wstring RuntimeServer::start(const std::wstring& address) {
    return implementation->start(address);
}

void RuntimeServer::stop(const std::wstring& address) {
    implementation->stop(address);
}

void RuntimeServer::stopAll() {
    implementation->stopAll();
}

std::vector<std::wstring> RuntimeServer::clients() const {
    return implementation->clients();
}

} // namespace Quarlen::Kel_cpp

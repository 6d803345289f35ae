#include "kel_cpp/network/RuntimeServer.hpp"

#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/network/IoThread.hpp"
#include "kel_cpp/network/ListenAddress.hpp"
#include "kel_cpp/network/Listener.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {
namespace {

using asio::ip::tcp;

/// Throws `std::system_error`.
asio::ip::address_v4 resolveHostName(const std::wstring& host) {
    asio::io_context context;
    tcp::resolver resolver(context);
    const auto found = resolver.resolve(tcp::v4(), Platform::toUtf8(host), "");
    return found.begin()->endpoint().address().to_v4();
}

tcp::endpoint findEndpoint(const std::wstring& address,
                           const RuntimeServer::AdapterList& adapters) {
    const ListenAddress parsed = parseServerAddress(address);
    const HostMeaning meaning = interpretHost(parsed.host, adapters());
    if (meaning.isHostName) {
        return {resolveHostName(parsed.host), parsed.port};
    }
    if (meaning.ipv4.empty()) {
        throw listenError(address, L"no network adapter and no IPv4 address belongs to \"" +
                                       parsed.host + L"\"");
    }
    return {asio::ip::make_address_v4(Platform::toUtf8(meaning.ipv4)), parsed.port};
}

} // namespace

class RuntimeServer::Implementation {
public:
    explicit Implementation(AdapterList adapterList) : adapters(std::move(adapterList)) {}

    std::wstring start(const std::wstring& address);
    void stop(const std::wstring& address);
    void stopAll();
    [[nodiscard]] std::vector<std::wstring> clients();

private:
    std::wstring listen(const tcp::endpoint& endpoint);
    void endIdleThread();

    AdapterList adapters;
    /// Held for whole operations; the I/O thread never takes it.
    std::mutex mutex;
    ClientCount count;
    std::optional<IoThread> ioThread;
    std::map<std::wstring, std::shared_ptr<Listener>> listeners;
};

std::wstring RuntimeServer::Implementation::start(const std::wstring& address) {
    try {
        // The name resolution can take long, so the lock is not held.
        const tcp::endpoint endpoint = findEndpoint(address, adapters);
        const std::lock_guard lock(mutex);
        return listen(endpoint);
    } catch (const std::system_error& error) {
        throw listenError(address, Platform::errorText(error.code()));
    }
}

std::wstring RuntimeServer::Implementation::listen(const tcp::endpoint& endpoint) {
    if (!ioThread) {
        ioThread.emplace();
    }
    try {
        tcp::acceptor acceptor = openAcceptor(ioThread->ioContext(), endpoint);
        std::wstring name = endpointText(acceptor.local_endpoint());
        const auto listener = std::make_shared<Listener>(std::move(acceptor), count);
        listeners.emplace(name, listener);
        ioThread->call([&] { listener->begin(); });
        return name;
    } catch (const std::system_error&) {
        endIdleThread();
        throw;
    }
}

void RuntimeServer::Implementation::stop(const std::wstring& address) {
    const std::lock_guard lock(mutex);
    const auto found = listeners.find(address);
    if (found == listeners.end()) {
        throw runtimeError(ErrorCode::Server, L"nothing listens on \"" + address + L"\"");
    }
    ioThread->call([&] { found->second->close(); });
    listeners.erase(found);
    endIdleThread();
}

void RuntimeServer::Implementation::stopAll() {
    const std::lock_guard lock(mutex);
    for (const auto& [address, listener] : listeners) {
        ioThread->call([&closing = *listener] { closing.close(); });
    }
    listeners.clear();
    endIdleThread();
}

void RuntimeServer::Implementation::endIdleThread() {
    if (listeners.empty()) {
        ioThread.reset();
    }
}

std::vector<std::wstring> RuntimeServer::Implementation::clients() {
    const std::lock_guard lock(mutex);
    std::vector<std::wstring> names;
    for (const auto& [address, listener] : listeners) {
        const auto more =
            ioThread->call([&asked = std::as_const(*listener)] { return asked.clientNames(); });
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

RuntimeServer::RuntimeServer(AdapterList adapters)
    : implementation(std::make_unique<Implementation>(std::move(adapters))) {}

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

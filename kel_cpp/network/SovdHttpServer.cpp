#include "kel_cpp/network/SovdHttpServer.hpp"

#include <cstddef>
#include <exception>
#include <utility>

#include "http_stream/SocketStream.hpp"
#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Kel_cpp {

SovdHttpServer::SovdHttpServer(Platform::ClientSource clients, SovdTimes times)
    : clients(std::move(clients)), times(std::move(times)) {
    constexpr std::size_t maxBodySize = 4096;
    set_payload_max_length(maxBodySize);
    set_socket_options([](socket_t listening) {
        Platform::bindExclusively(static_cast<std::intptr_t>(listening));
    });
}

bool SovdHttpServer::serve() {
    // All workers exist from the start: the library's pool grows too late for many clients at once.
    constexpr std::size_t workerCount = 16;
    constexpr std::size_t maxWaiting = 64;
    httplib::ThreadPool workers(workerCount, workerCount, maxWaiting);
    const bool wasStopped = acceptClients(workers);
    stopping = true;
    workers.shutdown();
    return wasStopped;
}

bool SovdHttpServer::acceptClients(httplib::TaskQueue& workers) {
    const auto listening = [this] { return static_cast<std::intptr_t>(svr_sock_.load()); };
    for (;;) {
        const std::intptr_t client = Platform::nextClient(listening, clients);
        if (client == Platform::noSocket) {
            return !closeListening();
        }
        if (!workers.enqueue([this, client] { serveAndClose(client); })) {
            Platform::closeSocket(client);
        }
    }
}

/// False when another thread has closed the socket.
bool SovdHttpServer::closeListening() {
    const socket_t socket = svr_sock_.exchange(INVALID_SOCKET);
    if (socket == INVALID_SOCKET) {
        return false;
    }
    Platform::closeSocket(static_cast<std::intptr_t>(socket));
    return true;
}

void SovdHttpServer::stopServing() {
    stopping = true;
    closeListening();
}

void SovdHttpServer::serveAndClose(std::intptr_t connection) {
    bool hasToReset = false;
    try {
        hasToReset = !serveConnection(connection);
    } catch (const std::exception&) {
        // Most likely out of memory: this client loses its connection, the others go on.
    }
    if (hasToReset) {
        Platform::resetSocket(connection);
    } else {
        Platform::closeSocket(connection);
    }
}

bool SovdHttpServer::serveConnection(std::intptr_t connection) {
    Http::SocketStream stream(connection, {.serverStops = [this] { return stopping.load(); }},
                              {.request = times.request, .write = times.request});
    if (serveRequest(stream)) {
        Platform::stopWriting(connection);
        if (stream.waitForClient(times.reading(stream.replySize()))) {
            return true;
        }
    }
    return stopping && !Platform::isResetAtStop(stream.replySize());
}

bool SovdHttpServer::serveRequest(Http::SocketStream& stream) {
    // One that has waited for a worker until the stop is not served: nobody waits for it.
    if (stopping || !stream.waitForRequest(times.silent)) {
        return false;
    }
    const auto connection = static_cast<std::intptr_t>(stream.socket());
    const auto client = Platform::peerAddress(connection);
    const auto own = Platform::ownAddress(connection);
    bool ends = true;
    process_request(stream, client.host, client.port, own.host, own.port, true, ends, nullptr);
    return true;
}

} // namespace Quarlen::Kel_cpp

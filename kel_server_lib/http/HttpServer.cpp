#include "kel_server_lib/http/HttpServer.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "kel_server_lib/http/ConnectionStream.hpp"
#include "kel_server_lib/http/LocalHosts.hpp"
#include "kel_server_lib/http/RequestRules.hpp"
#include "kel_server_lib/http/ServedConnection.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/ListeningSocket.hpp"

namespace Quarlen::Rest {

namespace {

using httplib::Request;
using httplib::Response;
using httplib::StatusCode;
using HandlerResponse = httplib::Server::HandlerResponse;

static_assert(CPPHTTPLIB_LISTEN_BACKLOG >= 128, "clients that arrive together have to queue");
constexpr std::chrono::seconds keepAliveTime{3600};
/// Bounds how long one client keeps its worker when it never pauses.
constexpr std::size_t maxRequestsPerConnection = 100;

/// The library's socket type is an integer whose signedness depends on the platform.
std::intptr_t handleOf(socket_t socket) {
    return static_cast<std::intptr_t>(socket);
}

void close(socket_t socket) {
    Platform::closeSocket(handleOf(socket));
}

std::chrono::milliseconds timeLimit(time_t seconds, time_t microseconds) {
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::seconds(seconds) +
                                                        std::chrono::microseconds(microseconds));
}

void answerUnhandledException(const Request& /*request*/, Response& response,
                              const std::exception_ptr& /*exception*/) {
    response.status = StatusCode::InternalServerError_500;
    response.reason.clear();
    response.body.clear();
    response.headers.clear();
}

} // namespace

/// A process that has no descriptor left cannot even accept a connection to refuse it. Half of the
/// descriptors are for the rest of the program.
WorkerLimits workerLimits() {
    WorkerLimits limits;
    limits.maxWorkers = std::min(limits.maxWorkers, Platform::socketLimit() / 2);
    return limits;
}

HttpServer::HttpServer(HttpServerEnvironment environment) : environment(std::move(environment)) {
    // IPv4 only: with both address families the library would bind the other one where another
    // server has the first, and two servers would share the port.
    set_address_family(AF_INET);
    set_keep_alive_timeout(keepAliveTime.count());
    set_keep_alive_max_count(maxRequestsPerConnection);
    set_payload_max_length(maxBodySize);
    set_socket_options([](socket_t socket) { Platform::bindExclusively(handleOf(socket)); });
    set_expect_100_continue_handler([this](const Request& request, Response& response) {
        return refuses(request, response) ? response.status : StatusCode::Continue_100;
    });
    set_pre_routing_handler([this](const Request& request, Response& response) {
        return refuses(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
    });
    set_pre_request_handler(ServedConnection::beginServing);
    set_exception_handler(answerUnhandledException);
    set_post_routing_handler(ServedConnection::beforeReply);
}

bool HttpServer::refuses(const Request& request, Response& response) const {
    if (refusesOtherSites && isOfAnotherSite(request)) {
        response.status = StatusCode::Forbidden_403;
        return true;
    }
    const auto status = refusalOf(request);
    if (status) {
        response.status = *status;
    }
    return status.has_value();
}

bool HttpServer::serve() {
    WorkerPool workers(environment.workers);
    serving = true;
    const bool wasStopped = acceptClients(workers);
    connections.stop();
    workers.shutdown();
    serving = false;
    return wasStopped;
}

bool HttpServer::acceptClients(WorkerPool& workers) {
    for (;;) {
        const std::intptr_t client =
            Platform::nextClient([this] { return handleOf(svr_sock_); }, environment.clients);
        if (client == Platform::noSocket) {
            return !closeListening();
        }
        welcome(static_cast<socket_t>(client), workers);
    }
}

/// A client for which the memory does not suffice loses its connection; the other clients keep
/// theirs.
void HttpServer::welcome(socket_t socket, WorkerPool& workers) {
    try {
        findWorker(socket, workers);
    } catch (const std::bad_alloc&) {
        close(socket);
    }
}

void HttpServer::findWorker(socket_t socket, WorkerPool& workers) {
    Platform::sendAtOnce(handleOf(socket));
    const auto entry = std::make_shared<Connections::Entry>(connections, handleOf(socket));
    const auto serve = [this, socket, entry] { serveAndClose(socket, *entry); };
    if (workers.enqueue(serve)) {
        return;
    }
    if (!connections.makeRoom(entry.get()) || !workers.enqueueForNextFree(serve)) {
        entry->remove();
        close(socket);
    }
}

/// False when another thread has closed the socket.
bool HttpServer::closeListening() {
    const socket_t socket = svr_sock_.exchange(INVALID_SOCKET);
    if (socket == INVALID_SOCKET) {
        return false;
    }
    close(socket);
    return true;
}

void HttpServer::stopServing() {
    connections.stop();
    closeListening();
}

void HttpServer::serveAndClose(socket_t socket, Connections::Entry& entry) {
    bool hasToReset = false;
    try {
        hasToReset = !serveConnection(socket, entry);
    } catch (const std::exception&) {
        // Most likely out of memory: this client loses its connection, the others go on.
    }
    entry.remove();
    if (hasToReset) {
        Platform::resetSocket(handleOf(socket));
    } else {
        close(socket);
    }
}

bool HttpServer::serveConnection(socket_t socket, Connections::Entry& entry) {
    ConnectionStream stream(handleOf(socket), entry,
                            {.request = timeLimit(read_timeout_sec_, read_timeout_usec_),
                             .write = timeLimit(write_timeout_sec_, write_timeout_usec_)});
    serveRequests(stream, entry);
    return endConnection(stream, entry);
}

/// Closing while bytes arrive would take the reply from a client that has not read it yet. A stop
/// waits for nobody for long.
bool HttpServer::endConnection(ConnectionStream& stream, Connections::Entry& entry) const {
    Platform::stopWriting(handleOf(stream.socket()));
    if (!entry.leave() || stream.waitForClient(environment.readingTime(stream.replySize()))) {
        return true;
    }
    return entry.serverStops() && !Platform::isResetAtStop(stream.replySize());
}

void HttpServer::serveRequests(ConnectionStream& stream, Connections::Entry& entry) {
    ServedConnection served(stream, entry);
    const auto client = Platform::peerAddress(handleOf(stream.socket()));
    const auto own = Platform::ownAddress(handleOf(stream.socket()));
    for (std::size_t left = keep_alive_max_count_; left > 0 && waitForRequest(stream, entry);
         --left) {
        bool ends = false;
        const bool answered = process_request(
            stream, client.host, client.port, own.host, own.port, left == 1 || entry.serverStops(),
            ends, [&ends](Request& request) { ends = settle(request); });
        served.releaseMemory();
        if (!answered || ends || stream.ignoresFurtherInput() || entry.serverStops()) {
            break;
        }
    }
}

bool HttpServer::waitForRequest(ConnectionStream& stream, Connections::Entry& entry) const {
    return entry.waitForRequest() &&
           stream.waitForRequest(std::chrono::seconds(keep_alive_timeout_sec_)) &&
           entry.receiveRequest();
}

} // namespace Quarlen::Rest

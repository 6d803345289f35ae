#include "kel_server_lib/rest/HttpServer.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <utility>

#include "kel_server_lib/rest/ConnectionStream.hpp"
#include "kel_server_lib/rest/HttplibInternals.hpp"
#include "kel_server_lib/rest/WorkerPool.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/ListeningSocket.hpp"

namespace Quarlen::Rest {

namespace {

using httplib::Request;
using httplib::Response;
using httplib::StatusCode;

static_assert(CPPHTTPLIB_LISTEN_BACKLOG >= 128, "clients that arrive together have to queue");
constexpr std::size_t greatestBody = std::size_t{1024} * 1024;
constexpr std::chrono::seconds keepAliveTime{3600};
/// Bounds how long one client keeps its worker when it never pauses.
constexpr std::size_t requestsPerConnection = 100;
/// What a client gets to end its side after the last reply.
constexpr std::chrono::seconds longestFarewell{2};

/// Whom this worker serves. The library tells its handlers nothing of the connection.
thread_local ConnectionStream* servedConnection = nullptr;

/// The library's socket type is an integer whose signedness depends on the platform.
void claimAddress(socket_t socket) {
    Platform::claimAddress(static_cast<std::intptr_t>(socket));
}
void stopReading(socket_t socket) {
    Platform::stopReading(static_cast<std::intptr_t>(socket));
}
void stopWriting(socket_t socket) {
    Platform::stopWriting(static_cast<std::intptr_t>(socket));
}

std::chrono::milliseconds timeLimit(time_t seconds, time_t microseconds) {
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::seconds(seconds) +
                                                        std::chrono::microseconds(microseconds));
}

/// A body is a body, whatever the client calls it: the library would look for form fields in one,
/// with limits of their own, or try to unpack it.
void forgetBodyType(Request& request) {
    request.headers.erase("Content-Type");
    request.headers.erase("Content-Encoding");
}

/// Without this the library would take what follows on the connection for the body. Of a GET or
/// HEAD without a length it expects none.
void settleBodyLength(Request& request) {
    if (request.method == "GET" || request.method == "HEAD") {
        return;
    }
    if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding")) {
        request.set_header("Content-Length", "0");
    }
}

void settleBody(Request& request) {
    forgetBodyType(request);
    settleBodyLength(request);
}

/// Where the body of such a request ends nobody can tell.
bool hasUnknownTransferEncoding(const Request& request) {
    return request.has_header("Transfer-Encoding") &&
           !httplib::detail::is_chunked_transfer_encoding(request.headers);
}

httplib::Server::HandlerResponse refuseUnknownEncodings(const Request& request,
                                                        Response& response) {
    if (!hasUnknownTransferEncoding(request)) {
        return httplib::Server::HandlerResponse::Unhandled;
    }
    response.status = StatusCode::NotImplemented_501;
    return httplib::Server::HandlerResponse::Handled;
}

void answerUnhandledException(const Request& /*request*/, Response& response,
                              const std::exception_ptr& /*exception*/) {
    response.status = StatusCode::InternalServerError_500;
    response.reason.clear();
    response.body.clear();
    response.headers.clear();
}

/// Keeps a socket in a set for its own life.
class Registration {
public:
    Registration(std::mutex& mutex, std::set<socket_t>& sockets, socket_t socket)
        : mutex(mutex), sockets(sockets), socket(socket) {
        const std::lock_guard lock(mutex);
        sockets.insert(socket);
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() {
        const std::lock_guard lock(mutex);
        sockets.erase(socket);
    }

private:
    std::mutex& mutex;
    std::set<socket_t>& sockets;
    socket_t socket;
};

/// A process that has no descriptor left cannot even accept a connection to refuse it, and the
/// library tries again at once. Half of them is for all the rest of the program.
WorkerLimits workerLimits() {
    WorkerLimits limits;
    limits.mostWorkers = std::min(limits.mostWorkers, Platform::socketLimit() / 2);
    return limits;
}

/// Tells the server when its listening has ended, for whatever reason, before it waits for those
/// who serve connections.
class ListenersPool : public WorkerPool {
public:
    explicit ListenersPool(std::function<void()> onListeningEnded)
        : WorkerPool(workerLimits()), onListeningEnded(std::move(onListeningEnded)) {}

    void shutdown() override {
        onListeningEnded();
        WorkerPool::shutdown();
    }

private:
    std::function<void()> onListeningEnded;
};

} // namespace

HttpServer::HttpServer() {
    // One address: with both of its families at hand the library would take the other one where
    // somebody else serves the first, and two servers would share the port.
    set_address_family(AF_INET);
    set_tcp_nodelay(true);
    set_keep_alive_timeout(keepAliveTime.count());
    set_keep_alive_max_count(requestsPerConnection);
    set_payload_max_length(greatestBody);
    set_socket_options([](socket_t socket) { claimAddress(socket); });
    new_task_queue = [this] { return new ListenersPool([this] { endConnections(); }); };
    set_pre_routing_handler(refuseUnknownEncodings);
    set_exception_handler(answerUnhandledException);
    set_post_routing_handler([this](const Request&, Response& response) { announceEnd(response); });
}

void HttpServer::announceEnd(Response& response) const {
    if (stopping || response.get_header_value("Connection") == "close") {
        servedConnection->ignoreFurtherInput();
        response.headers.erase("Keep-Alive");
        response.headers.erase("Connection");
        response.set_header("Connection", "close");
    }
}

void HttpServer::stopServing() {
    stopping = true;
    // The library's own stop wants to be asked only while the socket listens.
    if (const socket_t socket = svr_sock_.exchange(INVALID_SOCKET); socket != INVALID_SOCKET) {
        httplib::detail::shutdown_socket(socket);
        httplib::detail::close_socket(socket);
    }
    endConnections();
}

void HttpServer::endConnections() {
    stopping = true;
    // After a failure the library has closed the socket and keeps its number, which may be somebody
    // else's soon.
    svr_sock_ = INVALID_SOCKET;
    const std::lock_guard lock(idleMutex);
    for (const socket_t socket : idleConnections) {
        stopReading(socket);
    }
}

bool HttpServer::process_and_close_socket(socket_t socket) {
    bool served = false;
    try {
        served = serveConnection(socket);
    } catch (const std::exception&) {
        // Most likely out of memory: this client loses its connection, the others go on.
    }
    httplib::detail::shutdown_socket(socket);
    httplib::detail::close_socket(socket);
    return served;
}

bool HttpServer::serveConnection(socket_t socket) {
    ConnectionStream stream(socket, stopping,
                            {.request = timeLimit(read_timeout_sec_, read_timeout_usec_),
                             .write = timeLimit(write_timeout_sec_, write_timeout_usec_)});
    servedConnection = &stream;
    const bool served = serveRequests(stream);
    servedConnection = nullptr;
    if (stream.ignoresFurtherInput()) {
        // Closing while bytes arrive would take the reply from a client that has not read it yet.
        stopWriting(socket);
        stream.discardInput(longestFarewell);
    }
    return served;
}

bool HttpServer::waitForRequest(ConnectionStream& stream) {
    const Registration registration(idleMutex, idleConnections, stream.socket());
    if (stopping) {
        stopReading(stream.socket());
    }
    return stream.waitForRequest(std::chrono::seconds(keep_alive_timeout_sec_));
}

bool HttpServer::serveRequests(ConnectionStream& stream) {
    std::string clientAddress;
    std::string ownAddress;
    int clientPort = 0;
    int ownPort = 0;
    stream.get_remote_ip_and_port(clientAddress, clientPort);
    stream.get_local_ip_and_port(ownAddress, ownPort);
    bool answered = false;
    for (std::size_t left = keep_alive_max_count_; left > 0 && waitForRequest(stream); --left) {
        bool closed = false;
        answered = process_request(stream, clientAddress, clientPort, ownAddress, ownPort,
                                   left == 1 || stopping, closed, settleBody);
        if (!answered || closed || stream.ignoresFurtherInput() || stopping) {
            break;
        }
    }
    return answered;
}

} // namespace Quarlen::Rest

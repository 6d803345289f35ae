#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <httplib.h>

#include "kel_server_lib/http/Connections.hpp"
#include "kel_server_lib/http/WorkerPool.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/NextClient.hpp"

namespace Quarlen::Rest {

class ConnectionStream;

/// 512 workers, or half of the descriptors that the process may have.
WorkerLimits workerLimits();

/// What an HTTP server uses to take clients, with the production defaults.
struct HttpServerEnvironment {
    Platform::ClientSource clients = {};
    WorkerLimits workers = workerLimits();
    /// For a client to read its last reply and to end its side.
    Platform::ReadingTime readingTime = Platform::readingTime;
};

/// The HTTP library's server with this product's limits and its own accept loop. The thread that
/// calls `serve` accepts the clients and hands each connection to a thread of the worker pool,
/// which serves its requests one after the other and closes it. `ConnectionStream` reads and writes
/// the bytes of one connection, `Connections` knows the state of all of them. Handlers run on the
/// workers; `stopServing` may be called on any other thread.
/// - a port that another program serves cannot be bound, a restart while old connections linger
///   can;
/// - every open connection has a worker, up to 512 or half of the descriptors that the process may
///   have; beyond that a connection that is not being served makes room, and when all are being
///   served the new connection is closed at once;
/// - a passing failure to accept a client ends nothing; only a listening socket that has been
///   closed or does not listen ends the server and its connections;
/// - a client that does not finish its request within the read time-out loses its connection, also
///   when it keeps sending a byte now and then;
/// - bodies over 1 MiB are answered 413, at once where the header tells; request targets over the
///   library's configured length 414;
/// - a request without length and chunks has no body; what follows is the client's next request;
/// - an exception out of a handler is answered 500 with an empty body;
/// - the content type and the encoding that a body is given make no difference;
/// - a reply that says "Connection: close" is followed by just that, and reaches also a client that
///   is still sending;
/// - a client that has had the time to read its last reply and does not end its side is reset, so
///   that its connection does not keep the port from the next server;
/// - `stopServing` ends idle, busy and half-sent connections alike.
///
/// Protected members of the library are used here and nowhere else, so that a newer release can
/// break this class alone: `process_request`, because a connection is served by a loop of our own
/// that knows its limits and the stop; `svr_sock_`, because the thread that stops the server takes
/// the listening socket out of it, which then ends the accept loop; and the time-outs and counts
/// that the library's setters keep, because that loop obeys them.
class HttpServer : public httplib::Server {
public:
    explicit HttpServer(HttpServerEnvironment environment = {});

    /// From now on requests that a web page of another site may have made are answered 403 without
    /// a body and do nothing. To be called before `serve`.
    void refuseOtherSites() { refusesOtherSites = true; }

    /// Takes clients of the port that has been bound and serves them until `stopServing`. False
    /// when the listening socket has failed.
    bool serve();
    /// True while clients are taken.
    [[nodiscard]] bool isServing() const { return serving; }
    /// Ends `serve`. Requests that are being handled are still answered.
    void stopServing();

private:
    bool acceptClients(WorkerPool& workers);
    void welcome(socket_t socket, WorkerPool& workers);
    void findWorker(socket_t socket, WorkerPool& workers);
    bool closeListening();
    void serveAndClose(socket_t socket, Connections::Entry& entry);
    /// False when the client does not end its side.
    bool serveConnection(socket_t socket, Connections::Entry& entry);
    bool endConnection(ConnectionStream& stream, Connections::Entry& entry) const;
    void serveRequests(ConnectionStream& stream, Connections::Entry& entry);
    bool waitForRequest(ConnectionStream& stream, Connections::Entry& entry) const;
    bool refuses(const httplib::Request& request, httplib::Response& response) const;

    HttpServerEnvironment environment;
    std::atomic<bool> serving{false};
    bool refusesOtherSites = false;
    Connections connections;
};

} // namespace Quarlen::Rest

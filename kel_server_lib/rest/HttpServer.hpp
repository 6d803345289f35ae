#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>

#include <httplib.h>

namespace Quarlen::Rest {

class ConnectionStream;

/// The HTTP library's server with this product's limits:
/// - a port that somebody else serves cannot be bound, a restart while old connections linger can;
/// - every open connection has a worker, up to 512 or half of the descriptors that the process may
///   have; a connection beyond is closed at once;
/// - a client that does not finish its request within the read time-out loses its connection, also
///   when it keeps sending a byte now and then;
/// - bodies over 1 MiB are answered 413, request targets over the library's configured length 414;
/// - a request without length and chunks has no body; what follows is the client's next request;
/// - an exception out of a handler is answered 500 with an empty body;
/// - what a body is called makes no difference, neither its content type nor its encoding;
/// - a reply that says "Connection: close" is followed by just that, and reaches also a client that
///   is still sending;
/// - when the listening fails, the connections end like the server;
/// - `stopServing` ends idle, busy and half-sent connections alike.
class HttpServer : public httplib::Server {
public:
    HttpServer();

    /// Ends `listen_after_bind`. Requests that are being handled are still answered.
    void stopServing();

private:
    bool process_and_close_socket(socket_t socket) override;
    bool serveConnection(socket_t socket);
    bool serveRequests(ConnectionStream& stream);
    bool waitForRequest(ConnectionStream& stream);
    void announceEnd(httplib::Response& response) const;
    void endConnections();

    std::atomic<bool> stopping{false};
    std::mutex idleMutex;
    /// Those that wait for a request: a stop ends their reading. It would make the system drop what
    /// the other ones receive, and a client in the middle of its body would notice only minutes
    /// later.
    std::set<socket_t> idleConnections;
};

} // namespace Quarlen::Rest

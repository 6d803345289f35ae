#pragma once

#include <atomic>
#include <cstdint>

#include <httplib.h>

#include "kel_cpp/network/SovdTimes.hpp"
#include "platform/NextClient.hpp"

namespace Quarlen::Http {
class SocketStream;
}

namespace Quarlen::Kel_cpp {

/// The HTTP library's server with an accept loop of its own, because the library's looks at
/// `errno`, which Winsock leaves alone: there one client that has gone again would end the server.
/// A passing failure to accept ends nothing. Each connection has one request, and 16 workers serve
/// them.
class SovdHttpServer : public httplib::Server {
public:
    SovdHttpServer(Platform::ClientSource clients, SovdTimes times);

    /// Takes clients of the port that has been bound and serves them until `stopServing`. False
    /// when the listening socket has failed.
    bool serve();
    /// Ends `serve` from another thread. Requests that are being handled are still answered.
    void stopServing();

private:
    bool acceptClients(httplib::TaskQueue& workers);
    bool closeListening();
    void serveAndClose(std::intptr_t connection);
    /// False when the connection has to be reset.
    bool serveConnection(std::intptr_t connection);
    /// False when there was no request.
    bool serveRequest(Http::SocketStream& stream);

    const Platform::ClientSource clients;
    const SovdTimes times;
    std::atomic<bool> stopping{false};
};

} // namespace Quarlen::Kel_cpp

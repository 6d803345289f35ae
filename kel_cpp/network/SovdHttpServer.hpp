#pragma once

#include <atomic>
#include <cstdint>

#include <httplib.h>

#include "platform/NextClient.hpp"

namespace Quarlen::Kel_cpp {

class SovdStream;

/// The HTTP library's server with an accept loop of its own, because the library's looks at
/// `errno`, which Winsock leaves alone: there one client that has gone again would end the server.
/// A passing failure to accept ends nothing. Each connection has one request, and 16 workers serve
/// them.
class SovdHttpServer : public httplib::Server {
public:
    explicit SovdHttpServer(Platform::ClientSource clients);

    /// Takes clients of the port that has been bound and serves them until `stopServing`. False
    /// when the listening socket has failed.
    bool serve();
    /// Ends `serve` from another thread. Requests that are being handled are still answered.
    void stopServing();

private:
    bool acceptClients(httplib::TaskQueue& workers);
    bool closeListening();
    void serveAndClose(std::intptr_t connection);
    void serveRequest(SovdStream& stream, std::intptr_t connection);

    const Platform::ClientSource clients;
    std::atomic<bool> stopping{false};
};

} // namespace Quarlen::Kel_cpp

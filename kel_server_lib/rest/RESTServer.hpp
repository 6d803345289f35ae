#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "kel_server_lib/rest/FunctionMap.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "platform/Clock.hpp"
#include "platform/Console.hpp"
#include "platform/FreeAddress.hpp"

namespace Quarlen {

class ServerHandlerSequence;

namespace Rest {
class HttpServer;
} // namespace Rest

/// Where a REST server listens and what it writes to, with the production defaults.
struct RestEnvironment {
    Platform::Clock& clock = Platform::systemClock();
    Platform::Console& console = Platform::standardConsole();
    int port = 8011;
    /// Makes the HTTP server; null when it cannot be made.
    std::function<std::unique_ptr<Rest::HttpServer>()> makeServer = {};
    /// How a start waits for a port that nobody listens on.
    Platform::AddressProbe probe = {};
};

/// The REST API: one HTTP server, one route table, one listener thread. `start` builds the routes
/// and starts the listener thread, which binds the port and accepts clients; the HTTP server's
/// workers look a request up in the route table and call its handler. Handlers reach the runtime
/// through the process-wide facade reference. The application owns the server and calls `start` and
/// `stop` on the main thread.
class RESTServer {
public:
    using FunctionMap = Rest::FunctionMap;

    /// `stopRequested` must outlive the server.
    RESTServer(std::atomic<bool>& stopRequested,
               std::shared_ptr<ServerHandlerSequence> sequenceHandler, bool verbose,
               RestEnvironment environment = {});
    RESTServer(const RESTServer&) = delete;
    RESTServer& operator=(const RESTServer&) = delete;
    /// Stops, and releases the process-wide facade reference that `start` set.
    ~RESTServer();

    /// Returns once the server serves or has failed to bind. A failure shows on the console only,
    /// and the program goes on without a REST API. False when a server exists already or none can
    /// be made.
    bool start(std::shared_ptr<Kel_cpp::KelApi> facade);
    /// Body of the listener thread; blocks while serving.
    void listen();
    /// False when the server was never started.
    bool stop();

private:
    void registerRoutes();
    void waitUntilListening();
    void onRequest(const char* methodWord, const httplib::Request& request,
                   httplib::Response& response) const;
    void callRoute(const char* methodWord, const httplib::Request& request,
                   httplib::Response& response) const;
    void report(int line, const wchar_t* trace, const std::string& text, const std::string& host);

    std::unique_ptr<Rest::HttpServer> server;
    std::thread listener;
    FunctionMap routes;
    Rest::HandlerContext context;
    bool verbose;
    RestEnvironment environment;
    std::atomic<bool> listenEnded{false};
};

} // namespace Quarlen

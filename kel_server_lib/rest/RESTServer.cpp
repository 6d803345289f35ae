#include "kel_server_lib/rest/RESTServer.hpp"

#include <chrono>
#include <utility>
#include <vector>

#include "kel_server_lib/http/HttpServer.hpp"
#include "kel_server_lib/rest/Routes.hpp"
#include "kel_server_lib/rest/TraceText.hpp"
#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/FileTool.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

namespace {

/// External tools know this name, so it stands without the folder rest/.
constexpr const wchar_t* traceSource = L"kel_server_lib/RESTServer";
constexpr const char* catchAllPattern = "/kel/v1/.*";
constexpr const wchar_t* testingDeviceMarker = L".testing.device";

/// Line numbers by which external tools recognise these traces.
namespace TraceLine {
constexpr int receivedCommand = 197;
constexpr int loggedRequest = 256;
constexpr int listening = 281;
constexpr int stopped = 288;
constexpr int failed = 294;
} // namespace TraceLine

bool tracing() {
    return StdUtil::TraceHelper::isActive(StdUtil::TraceLevel::Info);
}

/// Dispatched directly: the trace formatter would cut a large body.
void onLogged(const httplib::Request& request, const httplib::Response& /*response*/) {
    if (tracing()) {
        StdUtil::ErrorHandler::dispatch(
            {StdUtil::TraceLevel::Info, traceSource, TraceLine::loggedRequest,
             L"REST API Request: " + Rest::traceText(request.method) + L" " +
                 Rest::traceText(request.path) + L"\n" + Rest::traceText(request.body)});
    }
}

/// "/kel/v1/version" with the method word in the place of "v1".
std::vector<std::string> routeSegments(const char* methodWord, const std::string& path) {
    std::vector<std::string> segments = Rest::splitPath(path);
    segments.erase(segments.begin(), segments.begin() + 2);
    segments.front() = methodWord;
    return segments;
}

constexpr const char* loopbackHost = "localhost";

std::string listeningHost() {
    return StdUtil::FileTool::exists(testingDeviceMarker) ? "0.0.0.0" : loopbackHost;
}

} // namespace

RESTServer::RESTServer(std::atomic<bool>& stopRequested,
                       std::shared_ptr<ServerHandlerSequence> sequenceHandler, bool verbose,
                       RestEnvironment environment)
    : context{[&stopRequested] { stopRequested.exchange(true); }, std::move(sequenceHandler)},
      verbose(verbose),
      environment(std::move(environment)) {
    if (!this->environment.makeServer) {
        this->environment.makeServer = [] { return std::make_unique<Rest::HttpServer>(); };
    }
}

RESTServer::~RESTServer() {
    stop();
    Rest::releaseFacade(this);
}

bool RESTServer::start(std::shared_ptr<Kel_cpp::KelApi> facade) {
    if (server) {
        return false;
    }
    server = environment.makeServer();
    if (!server) {
        environment.console.line("Invalid REST API server");
        return false;
    }
    Rest::setFacade(std::move(facade), this);
    Rest::addRoutes(routes);
    registerRoutes();
    listener = std::thread([this] { listen(); });
    waitUntilListening();
    return true;
}

void RESTServer::registerRoutes() {
    server->Get(catchAllPattern,
                [this](const httplib::Request& request, httplib::Response& response) {
                    onRequest("get", request, response);
                });
    server->Put(catchAllPattern,
                [this](const httplib::Request& request, httplib::Response& response) {
                    onRequest("put", request, response);
                });
    server->set_logger(onLogged);
}

void RESTServer::waitUntilListening() {
    while (!server->isServing() && !listenEnded) {
        environment.clock.sleepFor(std::chrono::milliseconds(200));
    }
}

void RESTServer::onRequest(const char* methodWord, const httplib::Request& request,
                           httplib::Response& response) const {
    if (tracing()) {
        StdUtil::TraceHelper::InfoTrace(
            traceSource, TraceLine::receivedCommand, L"Received Command: %s : %s",
            Platform::fromUtf8(methodWord).c_str(), Rest::traceText(request.path).c_str());
    }
    response.status = httplib::StatusCode::OK_200;
    response.reason = httplib::status_message(response.status);
    try {
        callRoute(methodWord, request, response);
    } catch (const httplib::StatusCode code) {
        response.status = code;
    }
    response.reason = httplib::status_message(response.status);
}

void RESTServer::callRoute(const char* methodWord, const httplib::Request& request,
                           httplib::Response& response) const {
    const std::vector<std::string> segments = routeSegments(methodWord, request.path);
    const FunctionMap::EndNode* route = routes.find(segments);
    if (route == nullptr) {
        throw httplib::StatusCode{httplib::StatusCode::NotFound_404};
    }
    route->handler({request, response, Rest::parameterValues(*route, segments), context});
}

void RESTServer::listen() {
    const std::string host = listeningHost();
    report(TraceLine::listening, L"REST server listening on http://%s:%d\n",
           "REST API Listening in http://", host);
    if (host == loopbackHost) {
        server->refuseOtherSites();
    }
    Platform::waitForFreeAddress(
        {.host = host == loopbackHost ? "127.0.0.1" : host, .port = environment.port},
        environment.probe);
    const bool served = server->bind_to_port(host, environment.port) && server->serve();
    if (served) {
        report(TraceLine::stopped, L"REST server stop listening on http://%s:%d\n",
               "REST API stop listening in http://", host);
    } else {
        // A port that could not be bound gives the same words: tools know this line.
        report(TraceLine::failed, L"REST API server failed to stop listening in http://%s:%d\n",
               "REST API server failed to stop listening in http://", host);
    }
    listenEnded = true;
}

void RESTServer::report(int line, const wchar_t* trace, const std::string& text,
                        const std::string& host) {
    StdUtil::TraceHelper::InfoTrace(traceSource, line, trace, Platform::fromUtf8(host).c_str(),
                                    environment.port);
    if (verbose) {
        environment.console.line(text + host + ":" + std::to_string(environment.port));
    }
}

bool RESTServer::stop() {
    if (!server) {
        return false;
    }
    server->stopServing();
    if (listener.joinable()) {
        listener.join();
        listener = {};
    }
    return true;
}

} // namespace Quarlen

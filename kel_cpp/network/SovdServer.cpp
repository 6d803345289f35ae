#include "kel_cpp/network/SovdServer.hpp"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <httplib.h>
#include <picojson.h>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/network/Endpoints.hpp"
#include "kel_cpp/network/SovdHttpServer.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {
namespace {

constexpr const char* host = "127.0.0.1";
constexpr const char* jsonType = "application/json";
constexpr const char* sovdVersion = "1.1.0";

KelApiException startError(std::uint16_t port, const std::wstring& cause) {
    return runtimeError(ErrorCode::Sovd, L"cannot start the SOVD server on 127.0.0.1:" +
                                             std::to_wstring(port) + L": " + cause);
}

/// Binds the port once more for the cause of the failure, which the HTTP library does not report.
std::wstring whyNotBound(std::uint16_t port) {
    try {
        boost::asio::io_context context;
        openAcceptor(context, {boost::asio::ip::address_v4::loopback(), port});
    } catch (const boost::system::system_error& error) {
        return Platform::errorText(error.code());
    }
    return L"the address was not free";
}

void reply(httplib::Response& response, const picojson::object& body) {
    response.set_content(picojson::value(body).serialize(), jsonType);
}

std::string failureText(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (...) {
        return Platform::toUtf8(currentExceptionText());
    }
}

/// Replies with a SOVD "GenericError".
void replyError(httplib::Response& response, const char* code, const std::string& message) {
    reply(response, {{"error_code", picojson::value(code)}, {"message", picojson::value(message)}});
}

/// One run of the server, from a bound port to the end of the last request.
class SovdService {
public:
    SovdService(const SovdModel& sovdModel, std::uint16_t wantedPort,
                const Platform::ClientSource& clients, const SovdTimes& times);
    SovdService(const SovdService&) = delete;
    SovdService& operator=(const SovdService&) = delete;
    ~SovdService();

    [[nodiscard]] std::uint16_t port() const noexcept { return boundPort; }

private:
    std::uint16_t bind(std::uint16_t wantedPort);
    void serve();
    void addRoutes();
    void addErrorReplies();
    [[nodiscard]] std::string baseUri() const;
    [[nodiscard]] picojson::object describe(const SovdModel::Component& component) const;
    void versionInfo(httplib::Response& response) const;
    void components(httplib::Response& response) const;
    void component(const std::string& id, httplib::Response& response) const;

    SovdModel model;
    SovdHttpServer server;
    std::uint16_t boundPort;
    std::thread thread;
};

/// Clients that come before the thread takes them wait in the socket's queue.
SovdService::SovdService(const SovdModel& sovdModel, std::uint16_t wantedPort,
                         const Platform::ClientSource& clients, const SovdTimes& times)
    : model(sovdModel), server(clients, times), boundPort(bind(wantedPort)) {
    addRoutes();
    addErrorReplies();
    thread = std::thread([this] { serve(); });
}

void SovdService::serve() {
    if (!server.serve()) {
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/network/SovdServer", __LINE__,
                                         L"The SOVD server has lost its port %d", int{boundPort});
    }
}

std::uint16_t SovdService::bind(std::uint16_t wantedPort) {
    if (wantedPort != 0 && server.bind_to_port(host, wantedPort)) {
        return wantedPort;
    }
    const int freePort = wantedPort == 0 ? server.bind_to_any_port(host) : -1;
    if (freePort < 0) {
        throw startError(wantedPort, whyNotBound(wantedPort));
    }
    return static_cast<std::uint16_t>(freePort);
}

SovdService::~SovdService() {
    server.stopServing();
    thread.join();
}

void SovdService::addRoutes() {
    server.Get(
        "/sovd/v1/version-info",
        [this](const httplib::Request&, httplib::Response& response) { versionInfo(response); });
    server.Get("/sovd/v1/components", [this](const httplib::Request&, httplib::Response& response) {
        components(response);
    });
    server.Get("/sovd/v1/components/:id",
               [this](const httplib::Request& request, httplib::Response& response) {
                   component(request.path_params.at("id"), response);
               });
}

void SovdService::addErrorReplies() {
    server.set_exception_handler([](const httplib::Request&, httplib::Response& response,
                                    const std::exception_ptr& failure) {
        response.status = httplib::StatusCode::InternalServerError_500;
        replyError(response, "sovd-server-failure", failureText(failure));
    });
    server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) {
            replyError(response, "vendor-specific", httplib::status_message(response.status));
        }
    });
}

std::string SovdService::baseUri() const {
    return "http://" + std::string(host) + ":" + std::to_string(boundPort) + "/sovd/v1";
}

picojson::object SovdService::describe(const SovdModel::Component& component) const {
    const std::string href =
        baseUri() + "/components/" + httplib::encode_uri_component(component.id);
    return {{"id", picojson::value(component.id)},
            {"name", picojson::value(component.name)},
            {"href", picojson::value(href)}};
}

void SovdService::versionInfo(httplib::Response& response) const {
    const picojson::object vendor = {{"name", picojson::value("kel_server")},
                                     {"version", picojson::value(model.serverVersion())}};
    const picojson::object entry = {{"version", picojson::value(sovdVersion)},
                                    {"base_uri", picojson::value(baseUri())},
                                    {"vendor_info", picojson::value(vendor)}};
    reply(response, {{"sovd_info", picojson::value(picojson::array{picojson::value(entry)})}});
}

void SovdService::components(httplib::Response& response) const {
    picojson::array items;
    for (const SovdModel::Component& component : model.components()) {
        items.emplace_back(describe(component));
    }
    reply(response, {{"items", picojson::value(items)}});
}

void SovdService::component(const std::string& id, httplib::Response& response) const {
    const auto all = model.components();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const auto& candidate) { return candidate.id == id; });
    if (found == all.end()) {
        response.status = httplib::StatusCode::NotFound_404;
        return;
    }
    reply(response, describe(*found));
}

} // namespace

class SovdServer::Implementation {
public:
    Implementation(SovdModel sovdModel, Platform::ClientSource clients,
                   Platform::AddressProbe probe, SovdTimes times)
        : model(std::move(sovdModel)),
          clients(std::move(clients)),
          probe(std::move(probe)),
          times(std::move(times)) {}

    /// The wait can take long, so the lock is not held.
    void start(std::uint16_t port) {
        Platform::waitForFreeAddress({.host = host, .port = port}, probe);
        const std::lock_guard lock(mutex);
        if (service) {
            throw startError(port, L"it runs already on port " + std::to_wstring(service->port()));
        }
        service = std::make_unique<SovdService>(model, port, clients, times);
    }

    /// Waits for running requests without the lock, because they may call `port`.
    void stop() {
        std::unique_ptr<SovdService> ending;
        const std::lock_guard lock(mutex);
        ending = std::move(service);
    }

    [[nodiscard]] std::uint16_t port() {
        const std::lock_guard lock(mutex);
        return service ? service->port() : std::uint16_t{0};
    }

private:
    SovdModel model;
    Platform::ClientSource clients;
    Platform::AddressProbe probe;
    SovdTimes times;
    std::mutex mutex;
    std::unique_ptr<SovdService> service;
};

SovdServer::SovdServer(SovdModel model, Platform::ClientSource clients,
                       Platform::AddressProbe probe, SovdTimes times)
    : implementation(std::make_unique<Implementation>(std::move(model), std::move(clients),
                                                      std::move(probe), std::move(times))) {}

SovdServer::~SovdServer() = default;

void SovdServer::start(std::uint16_t port) {
    implementation->start(port);
}

void SovdServer::stop() {
    implementation->stop();
}

std::uint16_t SovdServer::port() const {
    return implementation->port();
}

} // namespace Quarlen::Kel_cpp

#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

#include <stdexcept>

#include <httplib.h>

#include "kel_server_lib/rest/Routes.hpp"
#include "kel_server_lib/rest/handlers/FacadeReference.hpp"

namespace Quarlen::Tests {

HandlerFixture::HandlerFixture() {
    const DevicePaths devices{.ledPrefix = (folder.path() / "leds/2.").string(),
                              .f1Sensor = (folder.path() / "f1").string(),
                              .f2Sensor = (folder.path() / "f2").string()};
    handler = std::make_shared<ServerHandlerSequence>(
        SequenceEnvironment{.clock = clock,
                            .console = console,
                            .devices = devices,
                            .configPath = StdUtil::PathString(folder.path() / "config")});
    Rest::setFacade(api, this);
    Rest::addRoutes(routes);
}

HandlerFixture::~HandlerFixture() {
    Rest::releaseFacade(this);
}

HandlerReply HandlerFixture::call(const std::string& route, const std::string& body) {
    httplib::Response response;
    try {
        handle(route, body, response);
    } catch (const httplib::StatusCode code) {
        response.status = code;
    }
    return {response.status, response.body, response.get_header_value("Content-Type")};
}

void HandlerFixture::handle(const std::string& route, const std::string& body,
                            httplib::Response& response) {
    const std::vector<std::string> segments = Rest::splitPath(route);
    const auto* found = routes.find(segments);
    if (found == nullptr) {
        throw std::invalid_argument("no such route: " + route);
    }
    httplib::Request request;
    request.body = body;
    const Rest::HandlerContext context{[this] { stopRequested = true; }, handler};
    found->handler({request, response, Rest::parameterValues(*found, segments), context});
}

std::string HandlerFixture::exceptionOf(const std::string& route, const std::string& body) {
    try {
        call(route, body);
    } catch (const Kel_cpp::KelApiException&) {
        return "KelApiException";
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return {};
}

} // namespace Quarlen::Tests

#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

#include <stdexcept>

#include <httplib.h>

#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/Routes.hpp"

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
    Rest::addRoutes(routes, {[this] { stopRequested = true; }, handler});
}

HandlerFixture::~HandlerFixture() {
    Rest::releaseFacade(this);
}

HandlerReply HandlerFixture::call(const std::string& route, const std::string& body) {
    const std::vector<std::string> segments = Rest::splitPath(route);
    const auto* found = routes.find(segments);
    if (found == nullptr) {
        throw std::invalid_argument("no such route: " + route);
    }
    httplib::Request request;
    request.body = body;
    httplib::Response response;
    found->handler(request, response, Rest::parameterValues(*found, segments));
    return {response.status, response.body, response.get_header_value("Content-Type")};
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

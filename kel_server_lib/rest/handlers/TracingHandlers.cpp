#include <httplib.h>

#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/Replies.hpp"
#include "kel_server_lib/rest/RequestBody.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"

namespace Quarlen::Rest {

namespace {

void switchServerTracing(bool on) {
    const auto settings = facade()->getServerSettings();
    settings->optionTracing = on;
    facade()->setServerSettings(settings);
    facade()->commitServerSettings();
}

void switchPathTracing(bool on) {
    const auto paths = facade()->getProjectPath();
    paths->tracing = on;
    paths->tracingSecondary = on;
    facade()->setProjectPath(paths);
    facade()->commitProjectPath();
}

} // namespace

void getTracing(const httplib::Request& /*request*/, httplib::Response& response,
                const PathParameters& /*parameters*/) {
    answeringErrors(response, [&] {
        setJson(response, {{"tracing", picojson::value(facade()->getProjectPath()->tracing)}});
    });
}

void putTracing(const httplib::Request& request, httplib::Response& response,
                const PathParameters& /*parameters*/) {
    const auto body = parseBody(request.body);
    if (!body) {
        response.status = httplib::StatusCode::BadRequest_400;
        return;
    }
    const bool on = member(*body, "tracing").evaluate_as_boolean();
    answeringErrors(response, [&] {
        switchServerTracing(on);
        switchPathTracing(on);
        setStatusOk(response);
    });
}

} // namespace Quarlen::Rest

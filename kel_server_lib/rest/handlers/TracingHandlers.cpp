#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "kel_server_lib/rest/handlers/Replies.hpp"
#include "kel_server_lib/rest/handlers/RequestBody.hpp"

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

void getTracing(const Call& call) {
    answeringErrors(call.response, [&] {
        setJson(call.response, {{"tracing", picojson::value(facade()->getProjectPath()->tracing)}});
    });
}

void putTracing(const Call& call) {
    const picojson::value body = bodyOf(call);
    const bool on = member(body, "tracing").evaluate_as_boolean();
    answeringErrors(call.response, [&] {
        switchServerTracing(on);
        switchPathTracing(on);
        setStatusOk(call.response);
    });
}

} // namespace Quarlen::Rest

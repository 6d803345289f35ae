#include <algorithm>

#include <httplib.h>

#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/Replies.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "std_util/SystemInformation.hpp"

namespace Quarlen::Rest {

void getConfigurations(const httplib::Request& /*request*/, httplib::Response& response,
                       const PathParameters& /*parameters*/) {
    const auto paths = facade()->getProjectPath();
    picojson::object body;
    body["projectsPath"] = jsonText(paths->projectsPath);
    body["tracesPath"] = jsonText(paths->tracesPath);
    body["reportsPath"] = jsonText(paths->reportsPath);
    body["ownPath"] = jsonText(StdUtil::SystemInformation::getInstallationPath().wstr());
    setJson(response, body);
}

void getVersion(const httplib::Request& /*request*/, httplib::Response& response,
                const PathParameters& /*parameters*/) {
    answeringErrors(response, [&] {
        picojson::object body;
        body["version"] = jsonText(facade()->getServerVersion());
        const auto components = facade()->getComponentVersions();
        const auto dpdu =
            std::find_if(components.begin(), components.end(), [](const auto& component) {
                return component->kind == Kel_cpp::ComponentVersion::dpduApiKind;
            });
        if (dpdu != components.end()) {
            body["dpduVersion"] = jsonText((*dpdu)->version);
        }
        body["cosVersion"] = jsonText(facade()->getDeviceInfo()->cosVersion);
        setJson(response, body);
    });
}

void getHealth(const httplib::Request& /*request*/, httplib::Response& response,
               const PathParameters& /*parameters*/) {
    setStatusOk(response);
    response.status = httplib::StatusCode::OK_200;
}

void putStop(const HandlerContext& context, httplib::Response& response) {
    setStatusOk(response);
    context.requestStop();
}

} // namespace Quarlen::Rest

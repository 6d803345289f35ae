#include <algorithm>

#include <httplib.h>

#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "kel_server_lib/rest/handlers/Replies.hpp"
#include "std_util/SystemInformation.hpp"

namespace Quarlen::Rest {

void getConfigurations(const Call& call) {
    const auto paths = facade()->getProjectPath();
    picojson::object body;
    body["projectsPath"] = jsonText(paths->projectsPath);
    body["tracesPath"] = jsonText(paths->tracesPath);
    body["reportsPath"] = jsonText(paths->reportsPath);
    body["ownPath"] = jsonText(StdUtil::SystemInformation::getInstallationPath().wstr());
    setJson(call.response, body);
}

void getVersion(const Call& call) {
    answeringErrors(call.response, [&] {
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
        setJson(call.response, body);
    });
}

void getHealth(const Call& call) {
    setStatusOk(call.response);
    call.response.status = httplib::StatusCode::OK_200;
}

void putStop(const Call& call) {
    setStatusOk(call.response);
    call.context.requestStop();
}

} // namespace Quarlen::Rest

#include <algorithm>

#include <httplib.h>

#include "kel_server_lib/rest/FacadeReference.hpp"
#include "kel_server_lib/rest/Replies.hpp"
#include "kel_server_lib/rest/RequestBody.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"

namespace Quarlen::Rest {

namespace {

using Kel_cpp::InterfaceEntry;
using Kel_cpp::InterfaceSettings;

bool isSimulation(const InterfaceEntry& entry) {
    return entry.name == L"Simulation";
}

/// The first "Simulation" of a group speaks for the group, the last such group for all.
bool simulationEnabled(const InterfaceSettings& settings) {
    bool enabled = false;
    for (const auto& group : settings.groups) {
        const auto found = std::find_if(group->interfaces.begin(), group->interfaces.end(),
                                        [](const auto& entry) { return isSimulation(*entry); });
        if (found != group->interfaces.end()) {
            enabled = (*found)->enabled;
        }
    }
    return enabled;
}

/// Exclusive: every other interface is switched off.
void switchSimulationOn(InterfaceSettings& settings) {
    for (const auto& group : settings.groups) {
        for (const auto& entry : group->interfaces) {
            entry->enabled = isSimulation(*entry);
        }
    }
}

/// Does not leave the system without an interface: the first real one is switched on, the others
/// stay as they are. Groups behind the one that completes both are not visited.
void switchSimulationOff(InterfaceSettings& settings) {
    bool simulationSeen = false;
    bool otherSwitchedOn = false;
    for (const auto& group : settings.groups) {
        for (const auto& entry : group->interfaces) {
            if (isSimulation(*entry)) {
                entry->enabled = false;
                simulationSeen = true;
            } else if (!otherSwitchedOn) {
                entry->enabled = true;
                otherSwitchedOn = true;
            }
        }
        if (simulationSeen && otherSwitchedOn) {
            return;
        }
    }
}

} // namespace

void getSimulation(const httplib::Request& /*request*/, httplib::Response& response,
                   const PathParameters& /*parameters*/) {
    answeringErrors(response, [&] {
        const auto settings = facade()->getInterfaceSettings();
        setJson(response, {{"enabled", picojson::value(simulationEnabled(*settings))}});
        response.status = httplib::StatusCode::OK_200;
    });
}

void putSimulation(const httplib::Request& request, httplib::Response& response,
                   const PathParameters& /*parameters*/) {
    const auto body = parseBody(request.body);
    if (!body) {
        response.status = httplib::StatusCode::BadRequest_400;
        return;
    }
    const bool on = member(*body, "enable").evaluate_as_boolean();
    answeringErrors(response, [&] {
        const auto settings = facade()->getInterfaceSettings();
        if (on) {
            switchSimulationOn(*settings);
        } else {
            switchSimulationOff(*settings);
        }
        facade()->setInterfaceSettings(settings);
        facade()->applyInterfaceSettings();
        setStatusOk(response);
    });
}

} // namespace Quarlen::Rest

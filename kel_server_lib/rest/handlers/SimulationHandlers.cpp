#include <algorithm>

#include <httplib.h>

#include "kel_server_lib/rest/handlers/FacadeReference.hpp"
#include "kel_server_lib/rest/handlers/Handlers.hpp"
#include "kel_server_lib/rest/handlers/Replies.hpp"
#include "kel_server_lib/rest/handlers/RequestBody.hpp"

namespace Quarlen::Rest {

namespace {

using Kel_cpp::InterfaceEntry;
using Kel_cpp::InterfaceSettings;

bool isSimulation(const InterfaceEntry& entry) {
    return entry.name == L"Simulation";
}

/// The first "Simulation" of a group decides for the group, the last such group for all.
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

/// Switches the simulation off and the first real interface on, so that the system has one; the
/// others stay as they are. Groups after the one that completes both are not visited.
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

void getSimulation(const Call& call) {
    answeringErrors(call.response, [&] {
        const auto settings = facade()->getInterfaceSettings();
        setJson(call.response, {{"enabled", picojson::value(simulationEnabled(*settings))}});
        call.response.status = httplib::StatusCode::OK_200;
    });
}

void putSimulation(const Call& call) {
    const picojson::value body = bodyOf(call);
    const bool on = member(body, "enable").evaluate_as_boolean();
    answeringErrors(call.response, [&] {
        const auto settings = facade()->getInterfaceSettings();
        if (on) {
            switchSimulationOn(*settings);
        } else {
            switchSimulationOff(*settings);
        }
        facade()->setInterfaceSettings(settings);
        facade()->applyInterfaceSettings();
        setStatusOk(call.response);
    });
}

} // namespace Quarlen::Rest

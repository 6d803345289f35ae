#include "kel_server_lib/sequence/ActionWalk.hpp"

#include "kel_server_lib/sequence/actions/ExecuteAction.hpp"
#include "kel_server_lib/sequence/actions/FlashingAction.hpp"
#include "kel_server_lib/sequence/actions/QuicktestAction.hpp"
#include "kel_server_lib/sequence/actions/QuicktestSettings.hpp"
#include "kel_server_lib/sequence/actions/SelectAction.hpp"
#include "kel_server_lib/sequence/actions/TargetList.hpp"
#include "kel_server_lib/sequence/actions/Unlock.hpp"
#include "kel_server_lib/sequence/actions/UpdateFiles.hpp"

namespace Quarlen {

namespace {

using Api = ServerHandlerSequence::Api;

/// Opens the session that an action describes; one that is held already is overwritten.
void openUnlockOf(ServerHandlerSequence& handler, const Api& api,
                  const std::optional<Config::UnlockDescription>& unlock) {
    if (unlock) {
        openUnlock(handler, api, unlock->unlockName, unlock->unlockParameter,
                   handler.currentJobHandle);
    }
}

bool run(ServerHandlerSequence& handler, const Api& api, const Config::CfxExecuteAction& action) {
    return !action.enabled || runExecuteAction(handler, api, action.command);
}

bool run(ServerHandlerSequence& handler, const Api& api, const Config::CfxSelectAction& action) {
    if (const std::uint64_t handle = handler.currentJobHandle;
        action.project.empty() && handle != 0) {
        // `currentJobHandle` keeps the released handle: later unlock actions take the session as
        // held.
        api->releaseJob(handle);
    }
    return runSelectAction(handler, api, action.project, action.vehicleInformation,
                           action.autoConnect);
}

bool run(ServerHandlerSequence& handler, const Api& api, const Config::CfxQuicktestAction& action) {
    const QuicktestSettings settings = quicktestSettings(*api, action);
    openUnlockOf(handler, api, action.unlock);
    return runQuicktestAction(handler, api, settings.quicktest, settings.dtcRead, action.reportName,
                              settings.report);
}

bool run(ServerHandlerSequence& handler, const Api& api, const Config::CfxFlashingAction& action) {
    prepareUpdateFiles(*api);
    const auto flashItems = targetList(*api, action.items, action.targets);
    openUnlockOf(handler, api, action.unlock);
    return runFlashingAction(handler, api, flashItems);
}

bool run(ServerHandlerSequence& handler, const Api& api, const Config::CfxUnlockAction& action) {
    if (handler.currentJobHandle == 0) {
        openUnlockOf(handler, api, action.unlock);
    }
    return true;
}

/// An action whose class does not fit its type id is skipped like an action of an unknown kind.
template <class Action>
bool runAs(ServerHandlerSequence& handler, const Api& api, const Config::ConfigObject& object) {
    const Action* const action = Config::as<Action>(object);
    return action == nullptr || run(handler, api, *action);
}

bool runAction(ServerHandlerSequence& handler, const Api& api, const Config::ConfigObject& action) {
    switch (action.typeId()) {
    case Config::TypeId::ExecuteAction:
        return runAs<Config::CfxExecuteAction>(handler, api, action);
    case Config::TypeId::SelectAction:
        return runAs<Config::CfxSelectAction>(handler, api, action);
    case Config::TypeId::QuicktestAction:
        return runAs<Config::CfxQuicktestAction>(handler, api, action);
    case Config::TypeId::FlashingAction:
        return runAs<Config::CfxFlashingAction>(handler, api, action);
    case Config::TypeId::UnlockAction:
        return runAs<Config::CfxUnlockAction>(handler, api, action);
    case Config::TypeId::Unknown:
    case Config::TypeId::KelServerScript:
        break;
    }
    return true;
}

} // namespace

WalkResult walkActions(ServerHandlerSequence& handler, const Api& api,
                       const Config::CfxKelServerScript& script) {
    WalkResult result;
    const std::uint64_t count = script.actionCount();
    for (std::uint64_t index = 0; index < count && result.success && !result.stopped; ++index) {
        result.stopped = handler.stopRaised();
        if (!result.stopped) {
            result.success = runAction(handler, api, script.action(index));
        }
    }
    return result;
}

} // namespace Quarlen

#include "kel_server_lib/sequence/actions/FlashingAction.hpp"

#include <chrono>

#include "kel_server_lib/sequence/actions/ActionFrame.hpp"

namespace Quarlen {

namespace {

constexpr std::chrono::milliseconds progressInterval{100};

std::vector<std::wstring> sessionNamesOf(Kel_cpp::KelApi& api, const std::wstring& flashItem) {
    std::shared_ptr<Kel_cpp::FlashInfo> info;
    api.getFlashInfo(info, flashItem);
    Kel_cpp::RecordList<Kel_cpp::FlashSession> sessions;
    api.getFlashSessions(sessions, info->item, info->target);
    std::vector<std::wstring> names;
    names.reserve(sessions.size());
    for (const auto& session : sessions) {
        names.push_back(session->name);
    }
    return names;
}

std::wstring progressStatus(const Kel_cpp::FlashResult& result) {
    return std::to_wstring(result.progress) + L"% of Flashsession " + result.sessionName + L" done";
}

std::wstring errorStatus(const Kel_cpp::FlashJobError& error) {
    std::wstring status = L"Flashing aborted due to flashjob error: " + error.message;
    if (error.vciServerError) {
        status += L" VCIServerError: " + error.vciServerError->message;
    }
    return status;
}

/// Shows only the latest of the results that have arrived since the last check.
void showProgressUntilDone(RunState& state, Kel_cpp::KelApi& api) {
    while (!state.flashReporter.isDone()) {
        const auto batch = state.flashReporter.takeResults();
        if (!batch.empty()) {
            api.setServerStatus(progressStatus(*batch.back()));
        }
        state.environment.clock.sleepFor(progressInterval);
    }
}

void showErrorOfLastResult(RunState& state, Kel_cpp::KelApi& api) {
    const auto last = state.flashReporter.takeResults();
    if (!last.empty() && last.back()->jobError) {
        api.setServerStatus(errorStatus(*last.back()->jobError));
    }
}

void flashItem(RunState& state, Kel_cpp::KelApi& api, const std::wstring& item) {
    launchJob(state, state.flashReporter, [&] {
        const auto sessionNames = sessionNamesOf(api, item);
        return api.executeFlashSessions(item, sessionNames, 0, &state.flashReporter);
    });
    showProgressUntilDone(state, api);
    showErrorOfLastResult(state, api);
}

} // namespace

bool runFlashingAction(RunState& state, RunState::Api api,
                       const std::vector<std::wstring>& flashItems) {
    return runInActionFrame(state, *api, L"runFlashingAction", [&] {
        api->setServerStatus(L"Running flashing action");
        if (state.stopRaised()) {
            return;
        }
        for (const std::wstring& item : flashItems) {
            if (!state.stopRaised()) {
                flashItem(state, *api, item);
            }
        }
        state.currentJobId = 0;
    });
}

} // namespace Quarlen

#include "kel_server_lib/actions/FlashingAction.hpp"

#include <chrono>

#include "kel_server_lib/actions/ActionFrame.hpp"

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

/// Only the latest of the results that have come in between is shown.
void showProgressUntilDone(ServerHandlerSequence& handler, Kel_cpp::KelApi& api) {
    while (!handler.flashReporter.isDone()) {
        const auto batch = handler.flashReporter.takeResults();
        if (!batch.empty()) {
            api.setServerStatus(progressStatus(*batch.back()));
        }
        handler.environment.clock.sleepFor(progressInterval);
    }
}

void showErrorOfLastResult(ServerHandlerSequence& handler, Kel_cpp::KelApi& api) {
    const auto last = handler.flashReporter.takeResults();
    if (!last.empty() && last.back()->jobError) {
        api.setServerStatus(errorStatus(*last.back()->jobError));
    }
}

void flashItem(ServerHandlerSequence& handler, Kel_cpp::KelApi& api, const std::wstring& item) {
    launchJob(handler, handler.flashReporter, [&] {
        const auto sessionNames = sessionNamesOf(api, item);
        return api.executeFlashSessions(item, sessionNames, 0, &handler.flashReporter);
    });
    showProgressUntilDone(handler, api);
    showErrorOfLastResult(handler, api);
}

} // namespace

bool runFlashingAction(ServerHandlerSequence& handler, ServerHandlerSequence::Api api,
                       const std::vector<std::wstring>& flashItems) {
    return runInActionFrame(handler, *api, L"runFlashingAction", [&] {
        api->setServerStatus(L"Running flashing action");
        if (handler.stopRaised()) {
            return;
        }
        for (const std::wstring& item : flashItems) {
            if (!handler.stopRaised()) {
                flashItem(handler, *api, item);
            }
        }
        handler.currentJobId = 0;
    });
}

} // namespace Quarlen

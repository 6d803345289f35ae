#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kel_server_lib/sequence/actions/FlashingAction.hpp"
#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

namespace Quarlen::Tests {

/// Flash jobs that report when the test says so.
class FlashingFixture : public ActionFixture {
protected:
    using Callback = Kel_cpp::KelApi::ExecuteFlashSessionsCallback;

    FlashingFixture() { handler.currentJobId = 5; }

    bool run(const std::vector<std::wstring>& items) {
        return runFlashingAction(handler, api, items);
    }

    static std::shared_ptr<Kel_cpp::FlashResult> progress(std::uint16_t percent,
                                                          const std::wstring& session) {
        auto result = std::make_shared<Kel_cpp::FlashResult>();
        result->progress = percent;
        result->sessionName = session;
        return result;
    }

    static std::shared_ptr<Kel_cpp::FlashResult> failure(const std::wstring& message) {
        auto result = std::make_shared<Kel_cpp::FlashResult>();
        result->jobError = std::make_shared<Kel_cpp::FlashJobError>();
        result->jobError->message = message;
        return result;
    }

    /// The launched job reports nothing by itself.
    void keepJobRunning() {
        api->flashJob = [this](Callback& callback) { job.keep(callback); };
    }
    /// The launched job reports this and goes on.
    void reportAtLaunch(Kel_cpp::RecordList<Kel_cpp::FlashResult> results) {
        api->flashJob = [this, results = std::move(results)](Callback& callback) {
            job.keep(callback);
            job.report(results, false);
        };
    }
    void endJobAtFirstSleep() {
        clock.onSleep([this](auto) { job.end(); });
    }

    void addSession(const std::wstring& name) {
        api->flashSessions.push_back(std::make_shared<Kel_cpp::FlashSession>());
        api->flashSessions.back()->name = name;
    }

    LaunchedJob<Kel_cpp::FlashResult> job;
};

} // namespace Quarlen::Tests

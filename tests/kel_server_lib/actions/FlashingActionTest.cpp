#include "kel_server_lib/actions/FlashingAction.hpp"

#include <chrono>

#include "tests/kel_server_lib/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;

class FlashingAction : public SequenceFixture {
protected:
    using Callback = Kel_cpp::KelApi::ExecuteFlashSessionsCallback;

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

    void addSession(const std::wstring& name) {
        api->flashSessions.push_back(std::make_shared<Kel_cpp::FlashSession>());
        api->flashSessions.back()->name = name;
    }
};

TEST_F(FlashingAction, AsksForInfoThenSessionsAndFlashesThemInOneJob) {
    api->flashInfo->item = L"Item as spelled";
    api->flashInfo->target = L"ENGINE";
    addSession(L"S2");
    addSession(L"S1");

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running flashing action)", "getFlashInfo(Item)",
                            "getFlashSessions(Item as spelled, ENGINE)",
                            "executeFlashSessions(Item, S2, S1, 0)", "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, StartsNoJobWithoutItems) {
    EXPECT_TRUE(run({}));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running flashing action)", "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, StartsNoJobWhenAStopIsRaisedAndKeepsTheJobField) {
    handler.stopRequested = true;
    handler.currentJobId = 5;

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running flashing action)", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobId, 5U);
}

TEST_F(FlashingAction, ShowsTheLatestProgressOnceInEveryHundredMilliseconds) {
    Callback* job = nullptr;
    api->flashJob = [&](Callback& callback) {
        job = &callback;
        job->report({progress(10, L"S1"), progress(45, L"S1")}, 0, nullptr, false);
    };
    clock.onSleep([&](auto) {
        if (clock.sleeps().size() == 2) {
            job->report({progress(100, L"S1")}, 0, nullptr, true);
        }
    });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(clock.sleeps(), ElementsAre(100ms, 100ms));
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(45% of Flashsession S1 done)",
                                        "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, WaitsInEveryPassWhetherSomethingWasReportedOrNot) {
    Callback* job = nullptr;
    api->flashJob = [&](Callback& callback) {
        job = &callback;
        job->report({progress(10, L"S1")}, 0, nullptr, false);
    };
    std::vector<std::size_t> sleepsAtStatus;
    // The next result is there as soon as the last one is shown.
    for (const char* const shown : {"10", "20"}) {
        api->during("setServerStatus(" + std::string(shown) + "% of Flashsession S1 done)", [&] {
            sleepsAtStatus.push_back(clock.sleeps().size());
            job->report({progress(sleepsAtStatus.size() == 1 ? 20 : 30, L"S1")}, 0, nullptr, false);
        });
    }
    clock.onSleep([&](auto) {
        if (clock.sleeps().size() == 5) {
            job->report({}, 0, nullptr, true);
        }
    });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(sleepsAtStatus, ElementsAre(0U, 1U));
    EXPECT_THAT(clock.sleeps(), ElementsAre(100ms, 100ms, 100ms, 100ms, 100ms));
}

TEST_F(FlashingAction, WritesProgressWithoutLeadingZeros) {
    Callback* job = nullptr;
    api->flashJob = [&](Callback& callback) {
        job = &callback;
        job->report({progress(0, L"S1")}, 0, nullptr, false);
    };
    clock.onSleep([&](auto) { job->report({}, 0, nullptr, true); });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(statuses().at(1), "setServerStatus(0% of Flashsession S1 done)");
}

TEST_F(FlashingAction, AJobErrorIsShownAndChangesNothingElse) {
    api->flashJob = [](Callback& callback) {
        callback.report({progress(30, L"S1"), failure(L"no memory")}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Running flashing action)",
                            "setServerStatus(Flashing aborted due to flashjob error: no memory)",
                            "setServerStatus(Flashing aborted due to flashjob error: no memory)",
                            "setServerStatus(Idle)"));
    EXPECT_EQ(api->count("executeFlashSessions(Two, 0)"), 1U);
}

TEST_F(FlashingAction, ShowsTheInterfacesErrorBehindTheJobError) {
    api->flashJob = [](Callback& callback) {
        const auto result = failure(L"lost");
        result->jobError->vciServerError = std::make_shared<Kel_cpp::VciServerError>();
        result->jobError->vciServerError->message = L"VCI gone";
        callback.report({result}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(statuses().at(1), "setServerStatus(Flashing aborted due to flashjob error: lost"
                                " VCIServerError: VCI gone)");
}

TEST_F(FlashingAction, KeepsTheLastProgressUntilTheNextItemOrIdle) {
    Callback* job = nullptr;
    std::uint16_t percent = 0;
    api->flashJob = [&](Callback& callback) {
        job = &callback;
        percent = static_cast<std::uint16_t>(percent + 40);
        job->report({progress(percent, L"S1")}, 0, nullptr, false);
    };
    clock.onSleep([&](auto) { job->report({progress(100, L"S1")}, 0, nullptr, true); });

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(40% of Flashsession S1 done)",
                                        "setServerStatus(80% of Flashsession S1 done)",
                                        "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, OnlyTheLastResultsErrorIsShown) {
    api->flashJob = [](Callback& callback) {
        callback.report({failure(L"retried"), progress(100, L"S1")}, 0, nullptr, true);
    };

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Running flashing action)", "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, AnErrorThatTheProgressLoopTakesIsShownAsProgressOnly) {
    // The job's end follows its last result a moment later: the loop is between the two.
    Callback* job = nullptr;
    api->flashJob = [&](Callback& callback) {
        job = &callback;
        const auto result = failure(L"no memory");
        result->progress = 30;
        result->sessionName = L"S1";
        job->report({result}, 0, nullptr, false);
    };
    clock.onSleep([&](auto) { job->report({}, 0, nullptr, true); });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(30% of Flashsession S1 done)",
                                        "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, AStopDuringTheSecondItemSkipsTheThird) {
    Callback* job = nullptr;
    api->flashJob = [&](Callback& callback) { job = &callback; };
    api->during("executeFlashSessions(Two, 0)", [this] { handler.raiseStop(); });
    clock.onSleep([&](auto) { job->report({}, 0, nullptr, true); });

    EXPECT_TRUE(run({L"One", L"Two", L"Three"}));

    EXPECT_THAT(api->callsOf({"executeFlashSessions"}),
                ElementsAre("executeFlashSessions(One, 0)", "executeFlashSessions(Two, 0)"));
    EXPECT_EQ(clock.sleeps().size(), 2U);
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(FlashingAction, AFailureSkipsTheRemainingItems) {
    api->throwIn("executeFlashSessions", L"gone", 3);

    EXPECT_FALSE(run({L"One", L"Two"}));

    EXPECT_EQ(api->count("getFlashInfo(Two)"), 0U);
    EXPECT_TRUE(handler.flashReporter.done);
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(Exception caught: gone)"));
}

TEST_F(FlashingAction, AnItemThatTheRuntimeDoesNotKnowLeavesNoJobOutstanding) {
    api->throwIn("getFlashInfo", L"unknown item", 3);

    EXPECT_FALSE(run({L"One"}));

    EXPECT_TRUE(handler.flashReporter.done);
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(FlashingAction, TracesItsBeginningAndEnd) {
    const TraceCapture traces;

    EXPECT_TRUE(run({}));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runFlashingAction", L"<- runFlashingAction"));
}

} // namespace Quarlen::Tests

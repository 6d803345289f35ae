#include "kel_server_lib/sequence/actions/FlashingAction.hpp"

#include "tests/kel_server_lib/sequence/actions/FlashingFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class FlashingAction : public FlashingFixture {};

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
    EXPECT_EQ(api->flashCallback, &handler.flashReporter);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(FlashingAction, LaunchesAJobAlsoWithoutSessionsAndKeepsSessionsWithoutAName) {
    EXPECT_TRUE(run({L"None"}));
    addSession(L"");
    EXPECT_TRUE(run({L"Unnamed"}));

    EXPECT_THAT(
        api->callsOf({"executeFlashSessions"}),
        ElementsAre("executeFlashSessions(None, 0)", "executeFlashSessions(Unnamed, \"\", 0)"));
}

TEST_F(FlashingAction, FlashesTheItemsInTheirOrderAndAnItemTwiceWhenItStandsTwice) {
    EXPECT_TRUE(run({L"B", L"A", L"B"}));

    EXPECT_THAT(api->callsOf({"executeFlashSessions"}),
                ElementsAre("executeFlashSessions(B, 0)", "executeFlashSessions(A, 0)",
                            "executeFlashSessions(B, 0)"));
}

TEST_F(FlashingAction, FlashesRepeatedItemsAndSessionsAndAnItemWithoutAName) {
    addSession(L"S1");
    addSession(L"S1");

    EXPECT_TRUE(run({L"A", L"A", L""}));

    EXPECT_THAT(api->callsOf({"executeFlashSessions"}),
                ElementsAre("executeFlashSessions(A, S1, S1, 0)",
                            "executeFlashSessions(A, S1, S1, 0)",
                            "executeFlashSessions(, S1, S1, 0)"));
    EXPECT_TRUE(handler.flashReporter.done);
}

TEST_F(FlashingAction, StartsNoJobWithoutItems) {
    EXPECT_TRUE(run({}));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running flashing action)", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(FlashingAction, StartsNoJobWhenAStopIsRaisedAndKeepsTheJobField) {
    handler.stopRequested = true;
    handler.flashReporter.report({progress(1, L"S1")}, 0, nullptr, false);

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running flashing action)", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobId, 5U);
    EXPECT_FALSE(handler.flashReporter.done);
    EXPECT_EQ(handler.flashReporter.takeResults().size(), 1U);
}

TEST_F(FlashingAction, LooksAtTheStopAfterItsFirstStatus) {
    api->during("setServerStatus(Running flashing action)", [this] { handler.raiseStop(); });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(api->callsOf({"getFlashInfo"}), IsEmpty());
    EXPECT_EQ(handler.currentJobId, 5U);
}

TEST_F(FlashingAction, DoesNotLookAtTheStopBetweenTheCallsOfAnItem) {
    api->during("getFlashInfo", [this] { handler.raiseStop(); });

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(api->callsOf({"executeFlashSessions"}),
                ElementsAre("executeFlashSessions(One, 0)"));
}

TEST_F(FlashingAction, KeepsAJobInTheFieldUntilTheNextItemsLaunchAndClearsItAfterTheLast) {
    std::vector<std::uint64_t> jobIds;
    for (const char* const call : {"getFlashInfo(Two)", "setServerStatus(Idle)"}) {
        api->during(call, [&] { jobIds.push_back(handler.currentJobId); });
    }
    api->during("executeFlashSessions(Two, 0)", [&] { api->jobId = 8; });
    keepJobRunning();
    clock.onSleep([&](auto) {
        jobIds.push_back(handler.currentJobId);
        job.end();
    });

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(jobIds, ElementsAre(7U, 7U, 8U, 0U));
}

TEST_F(FlashingAction, ForgetsEarlierResultsAndExpectsAJobBeforeItAsksForTheItem) {
    handler.flashReporter.report({failure(L"old")}, 0, nullptr, true);
    std::size_t resultsBefore = 1;
    bool doneBefore = true;
    api->during("getFlashInfo", [&] {
        resultsBefore = handler.flashReporter.takeResults().size();
        doneBefore = handler.flashReporter.isDone();
    });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(resultsBefore, 0U);
    EXPECT_FALSE(doneBefore);
}

TEST_F(FlashingAction, ForgetsWhatTheItemBeforeReportedLate) {
    api->flashJob = [this](Callback& callback) {
        job.keep(callback);
        job.report({failure(L"no memory")}, true);
    };
    api->during("setServerStatus(Flashing aborted due to flashjob error: no memory)", [this] {
        job.report({failure(L"late")}, true);
        api->flashJob = nullptr;
    });

    EXPECT_TRUE(run({L"One", L"Two"}));

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Running flashing action)",
                            "setServerStatus(Flashing aborted due to flashjob error: no memory)",
                            "setServerStatus(Idle)"));
}

TEST_F(FlashingAction, TracesItsBeginningBeforeItsStatus) {
    const TraceCapture traces;
    std::vector<std::wstring> atTheStatus;
    api->during("setServerStatus(Running flashing action)", [&] { atTheStatus = traces.texts(); });

    EXPECT_TRUE(run({}));

    EXPECT_THAT(atTheStatus, ElementsAre(L"-> runFlashingAction"));
}

TEST_F(FlashingAction, AStopDuringTheSecondItemSkipsTheThird) {
    keepJobRunning();
    api->during("executeFlashSessions(Two, 0)", [this] { handler.raiseStop(); });
    endJobAtFirstSleep();

    EXPECT_TRUE(run({L"One", L"Two", L"Three"}));

    EXPECT_THAT(api->callsOf({"executeFlashSessions"}),
                ElementsAre("executeFlashSessions(One, 0)", "executeFlashSessions(Two, 0)"));
    EXPECT_EQ(clock.sleeps().size(), 2U);
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(FlashingAction, AFailureSkipsTheRemainingItems) {
    api->throwIn("executeFlashSessions(Two, 0)", L"gone", 3);

    EXPECT_FALSE(run({L"One", L"Two", L"Three"}));

    EXPECT_EQ(api->count("getFlashInfo(Three)"), 0U);
    EXPECT_TRUE(handler.flashReporter.done);
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running flashing action)",
                                        "setServerStatus(Exception caught: gone)"));
}

TEST_F(FlashingAction, AnItemThatTheRuntimeDoesNotKnowLeavesNoJobOutstanding) {
    api->throwIn("getFlashInfo", L"unknown item", 3);

    EXPECT_FALSE(run({L"One"}));

    EXPECT_TRUE(handler.flashReporter.done);
}

TEST_F(FlashingAction, TracesItsBeginningAndEnd) {
    const TraceCapture traces;

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runFlashingAction", L"<- runFlashingAction"));
}

TEST_F(FlashingAction, HoldsTheFacadeWhileItRunsAndReleasesIt) {
    long holders = 0;
    api->during("setServerStatus(Idle)", [&] { holders = api.use_count(); });

    EXPECT_TRUE(run({L"Item"}));

    EXPECT_EQ(holders, 2);
    EXPECT_EQ(api.use_count(), 1);
}

class FlashingActionFailure : public FailingActionCall {
protected:
    FlashingActionFailure() {
        api->flashJob = [this](auto& callback) {
            job.keep(callback);
            auto result = std::make_shared<Kel_cpp::FlashResult>();
            result->jobError = std::make_shared<Kel_cpp::FlashJobError>();
            job.report({result}, false);
        };
        clock.onSleep([this](auto) {
            auto result = std::make_shared<Kel_cpp::FlashResult>();
            result->jobError = std::make_shared<Kel_cpp::FlashJobError>();
            job.report({result}, true);
        });
    }

    bool run() { return runFlashingAction(handler, api, {L"Item"}); }

    LaunchedJob<Kel_cpp::FlashResult> job;
};

TEST_P(FlashingActionFailure, OfTheRuntimeIsToldAndEndsTheAction) {
    expectToldAndFalse([this] { return run(); });
}

TEST_P(FlashingActionFailure, OfAnotherKindPasses) {
    expectPassed([this] { return run(); });
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall, FlashingActionFailure,
    testing::Values("setServerStatus(Running flashing action)", "getFlashInfo(Item)",
                    "getFlashSessions(, )", "executeFlashSessions(Item, 0)",
                    "setServerStatus(0% of Flashsession  done)",
                    "setServerStatus(Flashing aborted due to flashjob error: )",
                    "setServerStatus(Idle)"));

} // namespace Quarlen::Tests

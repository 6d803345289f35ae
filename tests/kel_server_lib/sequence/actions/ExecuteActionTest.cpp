#include "kel_server_lib/sequence/actions/ExecuteAction.hpp"

#include <chrono>

#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class ExecuteAction : public ActionFixture {
protected:
    ExecuteAction() { handler.currentJobId = 5; }

    bool run(const std::wstring& command) { return runExecuteAction(handler, api, command); }

    /// The launched job reports nothing by itself.
    void keepJobRunning() {
        api->serviceJob = [this](auto& callback) { job.keep(callback); };
    }
    /// A result that an earlier job left and that nobody took.
    void leaveAResult() {
        handler.serviceReporter.report({std::make_shared<Kel_cpp::ServiceResult>()}, 0, nullptr,
                                       false);
    }
    void expectNothingWasReset() {
        EXPECT_EQ(handler.currentJobId, 5U);
        EXPECT_FALSE(handler.serviceReporter.done);
        EXPECT_EQ(handler.serviceReporter.takeResults().size(), 1U);
    }

    LaunchedJob<Kel_cpp::ServiceResult> job;
};

TEST_F(ExecuteAction, ExecutesTheProcedureOnTheOtxTarget) {
    EXPECT_TRUE(run(L"Otx_ReadIdent"));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running execute action: Otx_ReadIdent)",
                            "executeService(#OTX, Otx_ReadIdent)", "setServerStatus(Idle)"));
    EXPECT_EQ(api->serviceCallback, &handler.serviceReporter);
}

TEST_F(ExecuteAction, KeepsTheTargetWhateverTheCommandLooksLike) {
    EXPECT_TRUE(run(L"#Other"));

    EXPECT_THAT(api->callsOf({"executeService"}), ElementsAre("executeService(#OTX, #Other)"));
}

TEST_F(ExecuteAction, DoesNothingForAnEmptyCommand) {
    leaveAResult();

    EXPECT_TRUE(run(L""));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running execute action: )", "setServerStatus(Idle)"));
    expectNothingWasReset();
}

TEST_F(ExecuteAction, StartsNoJobWhenAStopIsRaised) {
    leaveAResult();
    handler.stopRequested = true;

    EXPECT_TRUE(run(L"One"));

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running execute action: One)",
                                          "setServerStatus(Idle)"));
    expectNothingWasReset();
}

TEST_F(ExecuteAction, LooksAtTheStopAfterItsFirstStatus) {
    api->during("setServerStatus(Running execute action: One)", [this] { handler.raiseStop(); });

    EXPECT_TRUE(run(L"One"));

    EXPECT_THAT(api->callsOf({"executeService"}), IsEmpty());
}

TEST_F(ExecuteAction, AProcedureThatReportsAFailureStillCounts) {
    api->serviceJob = [](auto& callback) {
        const auto result = std::make_shared<Kel_cpp::ServiceResult>();
        result->error = 5;
        callback.report({result}, 0, nullptr, true);
    };

    EXPECT_TRUE(run(L"One"));
}

TEST_F(ExecuteAction, WaitsForTheLastReportInStepsOfTenMillisecondsThoughAStopIsRaised) {
    keepJobRunning();
    std::vector<std::uint64_t> jobIds;
    clock.onSleep([&](auto) {
        handler.raiseStop();
        jobIds.push_back(handler.currentJobId);
        job.report({}, jobIds.size() == 3);
    });

    EXPECT_TRUE(run(L"One"));

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms, 10ms));
    EXPECT_THAT(jobIds, ElementsAre(7U, 7U, 7U));
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ExecuteAction, DoesNotSleepForAJobThatEndsAtOnce) {
    EXPECT_TRUE(run(L"One"));

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(ExecuteAction, AnAbortDuringTheWaitEndsItNormally) {
    keepJobRunning();
    api->during("cancelJobs", [this] { job.end(); });
    clock.onSleep([this](auto) { handler.abortSequence(api); });

    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(api->count("cancelJobs(7)"), 1U);
    EXPECT_EQ(lastCall(), "setServerStatus(Idle)");
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ExecuteAction, HasNoJobAnyMoreWhenItGoesIdle) {
    std::uint64_t jobIdAtIdle = 7;
    api->during("setServerStatus(Idle)", [&] { jobIdAtIdle = handler.currentJobId; });

    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(jobIdAtIdle, 0U);
}

TEST_F(ExecuteAction, ForgetsEarlierResultsAndExpectsAJobBeforeTheLaunch) {
    handler.serviceReporter.report({std::make_shared<Kel_cpp::ServiceResult>()}, 0, nullptr, true);
    std::size_t resultsAtTheLaunch = 1;
    bool doneAtTheLaunch = true;
    api->during("executeService", [&] {
        resultsAtTheLaunch = handler.serviceReporter.takeResults().size();
        doneAtTheLaunch = handler.serviceReporter.isDone();
    });

    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(resultsAtTheLaunch, 0U);
    EXPECT_FALSE(doneAtTheLaunch);
}

TEST_F(ExecuteAction, LeavesTheResultsOfItsJobUnread) {
    api->serviceJob = [](auto& callback) {
        callback.report({std::make_shared<Kel_cpp::ServiceResult>()}, 0, nullptr, true);
    };

    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(handler.serviceReporter.takeResults().size(), 1U);
}

TEST_F(ExecuteAction, KeepsItsInputOnlyAsLongAsTheJobRuns) {
    EXPECT_TRUE(run(L"One"));

    ASSERT_EQ(api->serviceInputs.size(), 1U);
    EXPECT_EQ(api->serviceInputs.front().use_count(), 1);
}

TEST_F(ExecuteAction, ALaunchThatFailsLeavesNoJobOutstanding) {
    api->throwIn("executeService", L"gone", 3);

    EXPECT_FALSE(run(L"One"));

    EXPECT_TRUE(handler.serviceReporter.done);
}

TEST_F(ExecuteAction, TracesWhatItExecutesBeforeTheLaunch) {
    const TraceCapture traces;
    std::vector<std::wstring> atTheLaunch;
    api->during("executeService", [&] { atTheLaunch = traces.texts(); });

    EXPECT_TRUE(run(L"100%s"));

    EXPECT_THAT(atTheLaunch, ElementsAre(L"-> runExecuteAction", L"kel_server::execute: 100%s"));
    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runExecuteAction", L"kel_server::execute: 100%s",
                                            L"<- runExecuteAction"));
}

TEST_F(ExecuteAction, TracesInformationInTheNameOfTheSequenceHandler) {
    const TraceCapture traces;

    EXPECT_TRUE(run(L"One"));

    ASSERT_EQ(traces.lines().size(), 3U);
    EXPECT_EQ(traces.lines()[1].source, L"kel_server_lib/ServerHandlerSequence");
    EXPECT_EQ(traces.lines()[1].level, StdUtil::TraceLevel::Info);
}

TEST_F(ExecuteAction, LeavesNoJobOutstanding) {
    EXPECT_TRUE(run(L"One"));

    EXPECT_TRUE(handler.serviceReporter.done);
}

TEST_F(ExecuteAction, TracesItsBeginningBeforeItsStatusAndNoExecutionWhenItIsSkipped) {
    const TraceCapture traces;
    std::vector<std::wstring> atTheStatus;
    api->during("setServerStatus(Running execute action: )", [&] { atTheStatus = traces.texts(); });

    EXPECT_TRUE(run(L""));

    EXPECT_THAT(atTheStatus, ElementsAre(L"-> runExecuteAction"));
    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runExecuteAction", L"<- runExecuteAction"));
}

TEST_F(ExecuteAction, HoldsTheFacadeWhileItRunsAndReleasesIt) {
    long holders = 0;
    api->during("setServerStatus(Idle)", [&] { holders = api.use_count(); });

    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(holders, 2);
    EXPECT_EQ(api.use_count(), 1);
}

class ExecuteActionFailure : public FailingActionCall {
protected:
    bool run() { return runExecuteAction(handler, api, L"One"); }
};

TEST_P(ExecuteActionFailure, OfTheRuntimeIsToldAndEndsTheAction) {
    expectToldAndFalse([this] { return run(); });
}

TEST_P(ExecuteActionFailure, OfAnotherKindPasses) {
    expectPassed([this] { return run(); });
}

INSTANTIATE_TEST_SUITE_P(EveryCall, ExecuteActionFailure,
                         testing::Values("setServerStatus(Running execute action: One)",
                                         "executeService(#OTX, One)", "setServerStatus(Idle)"));

} // namespace Quarlen::Tests

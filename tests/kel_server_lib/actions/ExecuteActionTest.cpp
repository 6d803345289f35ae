#include "kel_server_lib/actions/ExecuteAction.hpp"

#include <chrono>

#include "tests/kel_server_lib/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;

class ExecuteAction : public SequenceFixture {
protected:
    bool run(const std::wstring& command) { return runExecuteAction(handler, api, command); }
};

TEST_F(ExecuteAction, ExecutesTheProcedureOnTheOtxTarget) {
    EXPECT_TRUE(run(L"Otx_ReadIdent"));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running execute action: Otx_ReadIdent)",
                            "executeService(#OTX, Otx_ReadIdent)", "setServerStatus(Idle)"));
    EXPECT_TRUE(api->serviceInputs.front()->requestBytes.empty());
}

TEST_F(ExecuteAction, DoesNothingForAnEmptyCommand) {
    EXPECT_TRUE(run(L""));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running execute action: )", "setServerStatus(Idle)"));
}

TEST_F(ExecuteAction, StartsNoJobWhenAStopIsRaised) {
    handler.stopRequested = true;

    EXPECT_TRUE(run(L"One"));

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running execute action: One)",
                                          "setServerStatus(Idle)"));
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
    Kel_cpp::KelApi::ExecuteServiceCallback* job = nullptr;
    api->serviceJob = [&](auto& callback) { job = &callback; };
    std::vector<std::uint64_t> jobIds;
    clock.onSleep([&](auto) {
        handler.raiseStop();
        jobIds.push_back(handler.currentJobId);
        job->report({}, 0, nullptr, jobIds.size() == 3);
    });

    EXPECT_TRUE(run(L"One"));

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms, 10ms));
    EXPECT_THAT(jobIds, ElementsAre(7U, 7U, 7U));
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ExecuteAction, AnAbortDuringTheWaitEndsItNormally) {
    Kel_cpp::KelApi::ExecuteServiceCallback* job = nullptr;
    api->serviceJob = [&](auto& callback) { job = &callback; };
    api->during("cancelJobs", [&] { job->report({}, 0, nullptr, true); });
    clock.onSleep([this](auto) { handler.abortSequence(api); });

    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(api->count("cancelJobs(7)"), 1U);
    EXPECT_EQ(api->calls().back(), "setServerStatus(Idle)");
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ExecuteAction, ForgetsResultsOfEarlierJobsBeforeTheLaunch) {
    handler.serviceReporter.report({std::make_shared<Kel_cpp::ServiceResult>()}, 0, nullptr, true);

    EXPECT_TRUE(run(L"One"));

    EXPECT_TRUE(handler.serviceReporter.takeResults().empty());
}

TEST_F(ExecuteAction, ALaunchThatFailsLeavesNoJobOutstanding) {
    api->throwIn("executeService", L"gone", 3);

    EXPECT_FALSE(run(L"One"));

    EXPECT_TRUE(handler.serviceReporter.done);
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_EQ(printed(), "Exception caught: gone code: 3\n");
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running execute action: One)",
                                        "setServerStatus(Exception caught: gone)"));
}

TEST_F(ExecuteAction, TracesWhatItExecutes) {
    const TraceCapture traces;

    EXPECT_TRUE(run(L"100%s"));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runExecuteAction", L"kel_server::execute: 100%s",
                                            L"<- runExecuteAction"));
}

TEST_F(ExecuteAction, ReleasesTheFacade) {
    EXPECT_TRUE(run(L"One"));

    EXPECT_EQ(api.use_count(), 1);
}

} // namespace Quarlen::Tests

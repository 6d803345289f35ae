#include "kel_server_lib/sequence/actions/QuicktestAction.hpp"

#include <chrono>

#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class QuicktestAction : public ActionFixture {
protected:
    using Result = Kel_cpp::QuickTestResult;

    QuicktestAction() { handler.currentJobId = 5; }

    bool run(const std::shared_ptr<Kel_cpp::VehicleReportConfig>& report = nullptr) {
        return runQuicktestAction(handler, api, quicktest, dtcRead, L"Initial", report);
    }
    /// The launched job reports nothing by itself.
    void keepJobRunning() {
        api->quickTestJob = [this](auto& callback) { job.keep(callback); };
    }
    void endWithOneResult() {
        api->quickTestJob = [](auto& callback) {
            callback.report({std::make_shared<Result>()}, 0, nullptr, true);
        };
    }

    LaunchedJob<Result> job;
    std::shared_ptr<Kel_cpp::QuicktestConfig> quicktest =
        std::make_shared<Kel_cpp::QuicktestConfig>();
    std::shared_ptr<Kel_cpp::DtcReadConfig> dtcRead = std::make_shared<Kel_cpp::DtcReadConfig>();
    std::shared_ptr<Kel_cpp::VehicleReportConfig> reportConfig =
        std::make_shared<Kel_cpp::VehicleReportConfig>();
};

TEST_F(QuicktestAction, RunsTheTestWithTheGivenConfigurations) {
    EXPECT_TRUE(run());

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running quicktest action)",
                                          "performQuickTest()", "setServerStatus(Idle)"));
    EXPECT_EQ(api->quicktestConfig, quicktest);
    EXPECT_EQ(api->dtcReadConfig, dtcRead);
    EXPECT_EQ(api->quickTestCallback, &handler.quicktestReporter);
}

TEST_F(QuicktestAction, WritesTheReportFromAllResultsInArrivalOrder) {
    const auto first = std::make_shared<Result>();
    const auto second = std::make_shared<Result>();
    api->quickTestJob = [&](auto& callback) {
        callback.report({first}, 0, nullptr, false);
        callback.report({second}, 0, nullptr, true);
    };

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running quicktest action)", "performQuickTest()",
                            "createVehicleReport(Initial)", "setServerStatus(Idle)"));
    EXPECT_THAT(api->reportResults, ElementsAre(first, second));
    EXPECT_EQ(api->reportDtcReadConfig, dtcRead);
    EXPECT_EQ(api->vehicleReportConfig, reportConfig);
}

TEST_F(QuicktestAction, WritesAReportOfATestWithoutResults) {
    EXPECT_TRUE(run(reportConfig));

    EXPECT_EQ(api->count("createVehicleReport(Initial)"), 1U);
    EXPECT_THAT(api->reportResults, IsEmpty());
}

TEST_F(QuicktestAction, PassesAnEmptyReportNameOn) {
    EXPECT_TRUE(runQuicktestAction(handler, api, quicktest, dtcRead, L"", reportConfig));

    EXPECT_EQ(api->count("createVehicleReport()"), 1U);
}

TEST_F(QuicktestAction, TracesTheReportThatWasWritten) {
    api->reportFileName = L"r1.html";
    const TraceCapture traces;

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> runQuicktestAction",
                            L"kel_server::runQuicktestAction: r1.html finas report craeted",
                            L"<- runQuicktestAction"));
}

TEST_F(QuicktestAction, TracesInformationInTheNameOfTheSequenceHandler) {
    const TraceCapture traces;

    EXPECT_TRUE(run(reportConfig));

    ASSERT_EQ(traces.lines().size(), 3U);
    EXPECT_EQ(traces.lines()[1].source, L"kel_server_lib/ServerHandlerSequence");
    EXPECT_EQ(traces.lines()[1].level, StdUtil::TraceLevel::Info);
}

TEST_F(QuicktestAction, LeavesNoJobOutstanding) {
    EXPECT_TRUE(run(reportConfig));

    EXPECT_TRUE(handler.quicktestReporter.done);
}

TEST_F(QuicktestAction, TracesNoReportThatWasNotWritten) {
    const TraceCapture traces;
    std::vector<std::wstring> atTheStatus;
    api->during("setServerStatus(Running quicktest action)", [&] { atTheStatus = traces.texts(); });

    EXPECT_TRUE(run());

    EXPECT_THAT(atTheStatus, ElementsAre(L"-> runQuicktestAction"));
    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runQuicktestAction", L"<- runQuicktestAction"));
}

TEST_F(QuicktestAction, KeepsTheJobFieldDuringTheReportAndClearsItBeforeItGoesIdle) {
    std::vector<std::uint64_t> jobIds;
    for (const char* const call : {"createVehicleReport", "setServerStatus(Idle)"}) {
        api->during(call, [&] { jobIds.push_back(handler.currentJobId); });
    }

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(jobIds, ElementsAre(7U, 0U));
}

TEST_F(QuicktestAction, ClearsTheJobFieldAlsoWithoutAReport) {
    EXPECT_TRUE(run());

    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(QuicktestAction, StartsNoJobWhenAStopIsRaisedAndResetsNothing) {
    handler.stopRequested = true;
    handler.quicktestReporter.report({std::make_shared<Result>()}, 0, nullptr, false);

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running quicktest action)", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobId, 5U);
    EXPECT_FALSE(handler.quicktestReporter.done);
    EXPECT_EQ(handler.quicktestReporter.takeResults().size(), 1U);
}

TEST_F(QuicktestAction, LooksAtTheStopAfterItsFirstStatus) {
    api->during("setServerStatus(Running quicktest action)", [this] { handler.raiseStop(); });

    EXPECT_TRUE(run());

    EXPECT_THAT(api->callsOf({"performQuickTest"}), IsEmpty());
}

TEST_F(QuicktestAction, AStopDuringTheJobWaitsForItsEndAndWritesNoReport) {
    keepJobRunning();
    std::vector<std::uint64_t> jobIds;
    clock.onSleep([&](auto) {
        handler.raiseStop();
        jobIds.push_back(handler.currentJobId);
        job.report({std::make_shared<Result>()}, jobIds.size() == 2);
    });

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms));
    EXPECT_THAT(api->callsOf({"createVehicleReport"}), IsEmpty());
    EXPECT_THAT(jobIds, ElementsAre(7U, 7U));
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_EQ(handler.quicktestReporter.takeResults().size(), 2U);
}

TEST_F(QuicktestAction, AStopThatWasLoweredDuringTheJobStillMeansNoReport) {
    api->during("performQuickTest", [this] {
        handler.raiseStop();
        handler.lowerStop();
    });

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(api->callsOf({"createVehicleReport"}), IsEmpty());
}

TEST_F(QuicktestAction, DoesNotSleepForAJobThatEndsAtOnce) {
    EXPECT_TRUE(run());

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(QuicktestAction, WaitsAsLongAsTheLastReportIsMissing) {
    keepJobRunning();
    clock.onSleep([&](auto) {
        const bool afterADay = clock.sleptInTotal() >= 24h;
        job.report({}, afterADay);
        if (!afterADay) {
            clock.sleepFor(24h);
        }
    });

    EXPECT_TRUE(run());

    EXPECT_GE(clock.sleptInTotal(), 24h);
}

TEST_F(QuicktestAction, ForgetsEarlierResultsAndExpectsAJobBeforeTheLaunch) {
    handler.quicktestReporter.report({std::make_shared<Result>()}, 0, nullptr, true);
    std::size_t resultsAtTheLaunch = 1;
    bool doneAtTheLaunch = true;
    api->during("performQuickTest", [&] {
        resultsAtTheLaunch = handler.quicktestReporter.takeResults().size();
        doneAtTheLaunch = handler.quicktestReporter.isDone();
    });

    EXPECT_TRUE(run());

    EXPECT_EQ(resultsAtTheLaunch, 0U);
    EXPECT_FALSE(doneAtTheLaunch);
}

TEST_F(QuicktestAction, KeepsTheResultsUntilTheNextTestWhenThereIsNoReport) {
    endWithOneResult();
    EXPECT_TRUE(run());
    EXPECT_TRUE(run());

    EXPECT_EQ(handler.quicktestReporter.takeResults().size(), 1U);
}

TEST_F(QuicktestAction, TheReportTakesTheResults) {
    endWithOneResult();

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(handler.quicktestReporter.takeResults(), IsEmpty());
}

TEST_F(QuicktestAction, ALaunchThatFailsLeavesNoJobOutstanding) {
    api->throwIn("performQuickTest", L"gone", 3);

    EXPECT_FALSE(run());

    EXPECT_TRUE(handler.quicktestReporter.done);
}

TEST_F(QuicktestAction, HoldsTheFacadeWhileItRunsAndReleasesIt) {
    long holders = 0;
    api->during("setServerStatus(Idle)", [&] { holders = api.use_count(); });

    EXPECT_TRUE(run(reportConfig));

    EXPECT_EQ(holders, 2);
    EXPECT_EQ(api.use_count(), 1);
}

class QuicktestActionFailure : public FailingActionCall {
protected:
    bool run() {
        return runQuicktestAction(handler, api, std::make_shared<Kel_cpp::QuicktestConfig>(),
                                  std::make_shared<Kel_cpp::DtcReadConfig>(), L"Initial",
                                  std::make_shared<Kel_cpp::VehicleReportConfig>());
    }
};

TEST_P(QuicktestActionFailure, OfTheRuntimeIsToldAndEndsTheAction) {
    expectToldAndFalse([this] { return run(); });
}

TEST_P(QuicktestActionFailure, OfAnotherKindPasses) {
    expectPassed([this] { return run(); });
}

INSTANTIATE_TEST_SUITE_P(EveryCall, QuicktestActionFailure,
                         testing::Values("setServerStatus(Running quicktest action)",
                                         "performQuickTest()", "createVehicleReport(Initial)",
                                         "setServerStatus(Idle)"));

} // namespace Quarlen::Tests

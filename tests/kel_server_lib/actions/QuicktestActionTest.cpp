#include "kel_server_lib/actions/QuicktestAction.hpp"

#include <chrono>

#include "tests/kel_server_lib/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class QuicktestAction : public SequenceFixture {
protected:
    bool run(const std::shared_ptr<Kel_cpp::VehicleReportConfig>& report = nullptr) {
        return runQuicktestAction(handler, api, quicktest, dtcRead, L"Initial", report);
    }

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
}

TEST_F(QuicktestAction, WritesTheReportFromAllResultsInArrivalOrder) {
    const auto first = std::make_shared<Kel_cpp::QuickTestResult>();
    const auto second = std::make_shared<Kel_cpp::QuickTestResult>();
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

TEST_F(QuicktestAction, TracesTheReportThatWasWritten) {
    api->reportFileName = L"r1.html";
    const TraceCapture traces;

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> runQuicktestAction",
                            L"kel_server::runQuicktestAction: r1.html finas report craeted",
                            L"<- runQuicktestAction"));
}

TEST_F(QuicktestAction, StartsNoJobWhenAStopIsRaised) {
    handler.stopRequested = true;

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running quicktest action)", "setServerStatus(Idle)"));
}

TEST_F(QuicktestAction, AStopDuringTheJobWaitsForItsEndAndWritesNoReport) {
    Kel_cpp::KelApi::PerformQuickTestCallback* job = nullptr;
    api->quickTestJob = [&](auto& callback) { job = &callback; };
    clock.onSleep([&](auto) {
        handler.raiseStop();
        job->report({}, 0, nullptr, clock.sleeps().size() == 2);
    });

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms));
    EXPECT_THAT(api->callsOf({"createVehicleReport"}), IsEmpty());
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(QuicktestAction, AStopThatWasLoweredDuringTheJobStillMeansNoReport) {
    api->during("performQuickTest", [this] {
        handler.raiseStop();
        handler.lowerStop();
    });

    EXPECT_TRUE(run(reportConfig));

    EXPECT_THAT(api->callsOf({"createVehicleReport"}), IsEmpty());
}

TEST_F(QuicktestAction, WaitsAsLongAsTheLastReportIsMissing) {
    Kel_cpp::KelApi::PerformQuickTestCallback* job = nullptr;
    api->quickTestJob = [&](auto& callback) { job = &callback; };
    clock.onSleep([&](auto) {
        const bool afterADay = clock.sleptInTotal() >= 24h;
        job->report({}, 0, nullptr, afterADay);
        if (!afterADay) {
            clock.sleepFor(24h);
        }
    });

    EXPECT_TRUE(run());

    EXPECT_GE(clock.sleptInTotal(), 24h);
}

TEST_F(QuicktestAction, KeepsTheResultsUntilTheNextTestWhenThereIsNoReport) {
    api->quickTestJob = [](auto& callback) {
        callback.report({std::make_shared<Kel_cpp::QuickTestResult>()}, 0, nullptr, true);
    };
    EXPECT_TRUE(run());
    EXPECT_TRUE(run());

    EXPECT_EQ(handler.quicktestReporter.takeResults().size(), 1U);
}

TEST_F(QuicktestAction, ALaunchThatFailsLeavesNoJobOutstanding) {
    api->throwIn("performQuickTest", L"gone", 3);

    EXPECT_FALSE(run());

    EXPECT_TRUE(handler.quicktestReporter.done);
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Running quicktest action)",
                                        "setServerStatus(Exception caught: gone)"));
}

TEST_F(QuicktestAction, AReportThatFailsFailsTheAction) {
    api->throwIn("createVehicleReport", L"disk full", 4);

    EXPECT_FALSE(run(reportConfig));

    EXPECT_EQ(printed(), "Exception caught: disk full code: 4\n");
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_EQ(api->calls().back(), "setServerStatus(Exception caught: disk full)");
}

} // namespace Quarlen::Tests

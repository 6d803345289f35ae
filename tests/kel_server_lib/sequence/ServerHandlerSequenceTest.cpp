#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"

#include <algorithm>
#include <chrono>

#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class ServerHandlerSequenceTest : public SequenceFixture {
protected:
    /// The handler's jobs report their ends one per 10 ms in this order.
    void finishWhilePolling(std::vector<std::atomic<bool>*> jobs) {
        clock.onSleep([this, jobs = std::move(jobs)](auto) {
            if (const std::size_t sleeps = clock.sleeps().size(); sleeps <= jobs.size()) {
                *jobs[sleeps - 1] = true;
            }
        });
    }
};

TEST_F(ServerHandlerSequenceTest, StartsWithoutJobStopOrScripts) {
    EXPECT_FALSE(handler.stopRequested);
    EXPECT_FALSE(handler.stopRaised());
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_EQ(handler.currentJobHandle, 0U);
    EXPECT_TRUE(handler.serviceReporter.done && handler.quicktestReporter.done &&
                handler.flashReporter.done);
    EXPECT_EQ(handler.f1.scriptName + handler.f2.scriptName, L"");
    EXPECT_TRUE(!handler.f1.thread && !handler.f2.thread);
}

TEST_F(ServerHandlerSequenceTest, IgnoresTheOtherNotifications) {
    const TraceCapture traces;

    handler.onNotification0(5, nullptr, nullptr);
    handler.onNotification1(nullptr, nullptr);
    handler.onNotification4(nullptr, nullptr);
    handler.onNotification5(nullptr, nullptr);

    EXPECT_THAT(api->calls(), IsEmpty());
    EXPECT_THAT(traces.texts(), IsEmpty());
}

TEST_F(ServerHandlerSequenceTest, StartRunsTheScriptAndTellsSo) {
    writeScript("A.xml", "");
    bool handled = false;

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_TRUE(handled);
    EXPECT_THAT(api->calls(),
                ElementsAre("getActiveConnections()", "setServerStatus(Running sequence: A.xml)",
                            "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, StartOfWhatIsHandledAlreadyRunsNothing) {
    bool handled = true;

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_TRUE(handled);
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(ServerHandlerSequenceTest, StartWithoutConnectionsRunsNothingAndStaysUnhandled) {
    api->activeConnections.clear();
    bool handled = false;

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_FALSE(handled);
    EXPECT_THAT(api->calls(), ElementsAre("getActiveConnections()"));
}

TEST_F(ServerHandlerSequenceTest, StartTracesItsBeginningAndEndUnderTheHandlersName) {
    const TraceCapture traces;
    bool handled = true;

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> startSequence", L"<- startSequence"));
    EXPECT_EQ(traces.lines().front().source, L"kel_server_lib/ServerHandlerSequence");
    EXPECT_EQ(traces.lines().front().level, StdUtil::TraceLevel::Info);
}

TEST_F(ServerHandlerSequenceTest, StartThatFailsStaysUnhandledAndPassesTheFailureOn) {
    api->throwIn("getActiveConnections", L"gone", 3);
    bool handled = false;

    EXPECT_THROW(handler.startSequence(L"A.xml", api, nullptr, handled), Kel_cpp::KelApiException);

    EXPECT_FALSE(handled);
    EXPECT_EQ(api.use_count(), 1);
}

TEST_F(ServerHandlerSequenceTest, StartIsHandledOnlyAfterTheRun) {
    writeScript("A.xml", "");
    bool handled = false;
    std::vector<bool> handledDuringRun;
    api->during("setServerStatus", [&] { handledDuringRun.push_back(handled); });

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_THAT(handledDuringRun, ElementsAre(false, false));
    EXPECT_TRUE(handled);
}

TEST_F(ServerHandlerSequenceTest, StartWhoseRunFailsStaysUnhandled) {
    api->throwIn("setServerStatus", L"gone", 3);
    bool handled = false;

    EXPECT_THROW(handler.startSequence(L"A.xml", api, nullptr, handled), Kel_cpp::KelApiException);

    EXPECT_FALSE(handled);
}

TEST_F(ServerHandlerSequenceTest, StartOfAMissingScriptIsHandledToo) {
    bool handled = false;

    handler.startSequence(L"Gone.xml", api, nullptr, handled);

    EXPECT_TRUE(handled);
}

TEST_F(ServerHandlerSequenceTest, StartLeavesARaisedStopRaised) {
    handler.raiseStop();
    bool handled = false;

    handler.startSequence(L"Gone.xml", api, nullptr, handled);

    EXPECT_TRUE(handler.stopRequested);
}

TEST_F(ServerHandlerSequenceTest, StartRaisesNoStop) {
    writeScript("A.xml", "");
    bool raised = false;
    api->during("setServerStatus", [&] { raised = raised || handler.stopRaised(); });
    bool handled = false;

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_FALSE(raised || handler.stopRaised());
}

TEST_F(ServerHandlerSequenceTest, StartTracesAroundItsRun) {
    writeScript("A.xml", "");
    const TraceCapture traces;
    bool handled = false;

    handler.startSequence(L"A.xml", api, nullptr, handled);

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> startSequence", L"-> Running sequence: A.xml",
                                            L"<- Running sequence: A.xml", L"<- startSequence"));
}

TEST_F(ServerHandlerSequenceTest, CancelWithoutConnectionsChangesOnlyTheStatus) {
    api->activeConnections.clear();
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_FALSE(handled);
    EXPECT_FALSE(handler.stopRequested);
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running cancel sequence)",
                                          "getActiveConnections()", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, CancelOfWhatIsHandledAlreadyChangesOnlyTheStatus) {
    bool handled = true;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running cancel sequence)", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, CancelWhileAStopIsRaisedCancelsNoJobAndKeepsTheProject) {
    handler.raiseStop();
    handler.currentJobId = 7;
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_TRUE(handled);
    EXPECT_TRUE(handler.stopRequested);
    EXPECT_EQ(handler.currentJobId, 7U);
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running cancel sequence)",
                                          "getActiveConnections()", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, CancelWithoutAJobClosesTheProjectAndLowersTheStop) {
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_TRUE(handled);
    EXPECT_FALSE(handler.stopRequested);
    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running cancel sequence)", "getActiveConnections()",
                            "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, CancelCancelsTheJobAndWaitsForItsEndInStepsOfTenMilliseconds) {
    handler.currentJobId = 7;
    handler.quicktestReporter.expectJob();
    finishWhilePolling({&handler.serviceReporter.done, &handler.quicktestReporter.done});
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms));
    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running cancel sequence)", "getActiveConnections()",
                            "cancelJobs(7)", "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, CancelHoldsTheStopRaisedUntilTheProjectIsClosed) {
    bool raisedAtClose = false;
    api->during("selectProject()", [&] { raisedAtClose = handler.stopRequested; });
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_TRUE(raisedAtClose);
    EXPECT_FALSE(handler.stopRequested);
}

TEST_F(ServerHandlerSequenceTest, CancelThatFailsLeavesTheStopRaised) {
    api->throwIn("selectProject()", L"gone", 3);
    bool handled = false;

    EXPECT_THROW(handler.cancelSequence(api, nullptr, handled), Kel_cpp::KelApiException);

    EXPECT_TRUE(handler.stopRequested);
    EXPECT_FALSE(handled);
    EXPECT_THAT(api->calls(), Not(Contains("setServerStatus(Idle)")));
}

TEST_F(ServerHandlerSequenceTest, CancelTracesWithItsTrailingBlanks) {
    const TraceCapture traces;
    bool handled = true;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> cancelSequence ", L"<- cancelSequence "));
}

TEST_F(ServerHandlerSequenceTest, AbortWithoutAJobStillClosesTheProject) {
    handler.abortSequence(api);

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running abort sequence)", "getActiveConnections()",
                            "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, AbortWithoutConnectionsChangesOnlyTheStatus) {
    api->activeConnections.clear();
    handler.currentJobId = 7;

    handler.abortSequence(api);

    EXPECT_EQ(handler.currentJobId, 7U);
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running abort sequence)",
                                          "getActiveConnections()", "setServerStatus(Idle)"));
}

TEST_F(ServerHandlerSequenceTest, AbortWaitsForEveryReporterOneAfterTheOther) {
    handler.currentJobId = 7;
    handler.serviceReporter.expectJob();
    handler.quicktestReporter.expectJob();
    handler.flashReporter.expectJob();
    finishWhilePolling({&handler.flashReporter.done, &handler.serviceReporter.done,
                        &handler.quicktestReporter.done});

    handler.abortSequence(api);

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms, 10ms));
    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running abort sequence)", "getActiveConnections()",
                            "cancelJobs(7)", "selectProject()", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ServerHandlerSequenceTest, AbortForgetsTheJobWhateverTheWalkHasStartedMeanwhile) {
    handler.currentJobId = 7;
    api->during("cancelJobs", [this] { handler.currentJobId = 8; });

    handler.abortSequence(api);

    EXPECT_EQ(handler.currentJobId, 0U);
}

TEST_F(ServerHandlerSequenceTest, AbortRaisesNoStop) {
    const std::vector<std::string> watched{"cancelJobs", "selectProject", "setServerStatus"};
    handler.currentJobId = 7;
    bool raised = false;
    for (const std::string& call : watched) {
        api->during(call, [&] { raised = raised || handler.stopRaised(); });
    }

    handler.abortSequence(api);

    EXPECT_FALSE(raised || handler.stopRaised());
}

TEST_F(ServerHandlerSequenceTest, AbortTracesWithItsTrailingBlanks) {
    const TraceCapture traces;

    handler.abortSequence(api);

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> abortSequence ", L"<- abortSequence "));
}

TEST_F(ServerHandlerSequenceTest, FailureOfAnAbortPassesToTheCaller) {
    api->throwIn("setServerStatus", L"gone", 3);

    EXPECT_THROW(handler.abortSequence(api), Kel_cpp::KelApiException);
    EXPECT_EQ(api.use_count(), 1);
}

TEST_F(ServerHandlerSequenceTest, AStopCountsForARunThatItWasLoweredIn) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/><ExecuteAction command="Two"/>)");
    api->during("executeService", [this] {
        handler.raiseStop();
        handler.lowerStop();
    });

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(api->callsOf({"executeService", "selectProject"}),
                ElementsAre("executeService(#OTX, One)", "selectProject()"));
}

TEST_F(ServerHandlerSequenceTest, AStopThatWasLoweredBeforeARunDoesNotCount) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)");
    handler.raiseStop();
    handler.lowerStop();

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(api->count("executeService(#OTX, One)"), 1U);
    EXPECT_FALSE(handler.stopRaised());
}

} // namespace Quarlen::Tests

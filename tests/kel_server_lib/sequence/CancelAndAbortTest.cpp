#include <atomic>
#include <chrono>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// What a cancel does and when; the abort shares the part about the job.
class Cancel : public SequenceFixture {
protected:
    virtual void act() { handler.cancelSequence(api, nullptr, handled); }

    /// The traces at the moment of this call, the last one if it comes more than once.
    [[nodiscard]] std::vector<std::wstring> tracesDuring(const std::string& call) {
        const TraceCapture traces;
        std::vector<std::wstring> texts;
        api->during(call, [&] { texts = traces.texts(); });
        act();
        api->during(call, nullptr);
        return texts;
    }

    bool handled = false;
};

class Abort : public Cancel {
protected:
    void act() override { handler.abortSequence(api); }
};

TEST_F(Cancel, TracesBeforeItsStatusAndAfterIdle) {
    EXPECT_THAT(tracesDuring("setServerStatus(Running cancel sequence)"),
                ElementsAre(L"-> cancelSequence "));
    handled = false;
    EXPECT_THAT(tracesDuring("setServerStatus(Idle)"), ElementsAre(L"-> cancelSequence "));
}

TEST_F(Abort, TracesBeforeItsStatusAndAfterIdle) {
    EXPECT_THAT(tracesDuring("setServerStatus(Running abort sequence)"),
                ElementsAre(L"-> abortSequence "));
    EXPECT_THAT(tracesDuring("setServerStatus(Idle)"), ElementsAre(L"-> abortSequence "));
}

TEST_F(Cancel, EndsTheButtonThreadsBeforeItCancelsTheJob) {
    writeF1Sensor("1000\n");
    writeF2Sensor("1000\n");
    clock.onSleep([](auto) { std::this_thread::yield(); });
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);
    handler.currentJobId = 7;
    bool threadsAtCancel = true;
    api->during("cancelJobs", [&] { threadsAtCancel = handler.f1.thread || handler.f2.thread; });

    act();

    EXPECT_EQ(api->count("cancelJobs(7)"), 1U);
    EXPECT_FALSE(threadsAtCancel);
}

TEST_F(Cancel, LeavesTheButtonThreadsAloneUntilItKnowsOfAConnection) {
    writeF1Sensor("1000\n");
    clock.onSleep([](auto) { std::this_thread::yield(); });
    handler.startF1ScriptThread(L"A.xml", api);
    bool stoppedAtQuestion = true;
    api->during("getActiveConnections",
                [&] { stoppedAtQuestion = handler.stopRequested || !handler.f1.thread; });

    act();

    EXPECT_FALSE(stoppedAtQuestion);
}

TEST_F(Cancel, WithoutConnectionsLeavesTheButtonThreadsRunning) {
    writeF1Sensor("1000\n");
    clock.onSleep([](auto) { std::this_thread::yield(); });
    handler.startF1ScriptThread(L"A.xml", api);
    api->activeConnections.clear();

    act();

    EXPECT_TRUE(handler.f1.thread);
    EXPECT_FALSE(handler.f1.endRequest.stop_requested());
}

TEST_F(Cancel, RaisesTheStopBeforeItCancelsTheJob) {
    handler.currentJobId = 7;
    bool raised = false;
    api->during("cancelJobs", [&] { raised = handler.stopRequested; });

    act();

    EXPECT_TRUE(raised);
}

TEST_F(Cancel, IsHandledOnlyAfterTheProjectIsClosedAndTheStopLowered) {
    bool handledAtClose = true;
    bool handledAtIdle = false;
    bool raisedAtIdle = true;
    api->during("selectProject()", [&] { handledAtClose = handled; });
    api->during("setServerStatus(Idle)", [&] {
        handledAtIdle = handled;
        raisedAtIdle = handler.stopRequested;
    });

    act();

    EXPECT_FALSE(handledAtClose);
    EXPECT_TRUE(handledAtIdle);
    EXPECT_FALSE(raisedAtIdle);
}

TEST_F(Cancel, KeepsTheUnlockHandle) {
    handler.currentJobHandle = 41;

    act();

    EXPECT_EQ(handler.currentJobHandle, 41U);
    EXPECT_THAT(api->callsOf({"releaseJob"}), IsEmpty());
}

TEST_F(Abort, KeepsTheUnlockHandle) {
    handler.currentJobHandle = 41;

    act();

    EXPECT_EQ(handler.currentJobHandle, 41U);
    EXPECT_THAT(api->callsOf({"releaseJob"}), IsEmpty());
}

TEST_F(Abort, LeavesARaisedStopRaised) {
    handler.raiseStop();

    act();

    EXPECT_TRUE(handler.stopRequested);
}

/// Both, with each of the three reporters whose job may be outstanding.
class EndOfAJob : public SequenceFixture,
                  public testing::WithParamInterface<std::tuple<bool, int>> {
protected:
    void act() {
        bool handled = false;
        std::get<0>(GetParam()) ? handler.cancelSequence(api, nullptr, handled)
                                : handler.abortSequence(api);
    }

    [[nodiscard]] std::atomic<bool>& done() {
        const std::array<std::atomic<bool>*, 3> flags{&handler.serviceReporter.done,
                                                      &handler.quicktestReporter.done,
                                                      &handler.flashReporter.done};
        return *flags.at(static_cast<std::size_t>(std::get<1>(GetParam())));
    }
};

TEST_P(EndOfAJob, IsWaitedForThenForgottenAndThenTheProjectIsClosed) {
    handler.currentJobId = 7;
    done() = false;
    std::vector<std::uint64_t> jobWhileWaiting;
    clock.onSleep([&](auto) {
        jobWhileWaiting.push_back(handler.currentJobId);
        done() = jobWhileWaiting.size() == 3;
    });
    bool doneAtClose = false;
    std::uint64_t jobAtClose = 7;
    api->during("selectProject()", [&] {
        doneAtClose = done();
        jobAtClose = handler.currentJobId;
    });

    act();

    EXPECT_THAT(jobWhileWaiting, ElementsAre(7U, 7U, 7U));
    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms, 10ms));
    EXPECT_TRUE(doneAtClose);
    EXPECT_EQ(jobAtClose, 0U);
}

TEST_P(EndOfAJob, IsWaitedForOnlyAfterItWasCancelled) {
    handler.currentJobId = 7;
    done() = false;
    api->during("cancelJobs", [&] { done() = true; });

    act();

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_P(EndOfAJob, IsNotWaitedForWithoutAJob) {
    done() = false;
    clock.onSleep([&](auto) { done() = true; });

    act();

    EXPECT_THAT(clock.sleeps(), IsEmpty());
    EXPECT_THAT(api->callsOf({"cancelJobs", "selectProject"}), ElementsAre("selectProject()"));
}

TEST_P(EndOfAJob, IsNotWaitedForWhenItCannotBeCancelled) {
    handler.currentJobId = 7;
    done() = false;
    clock.onSleep([&](auto) { done() = true; });
    api->throwIn("cancelJobs", L"gone", 3);

    EXPECT_THROW(act(), Kel_cpp::KelApiException);

    EXPECT_THAT(clock.sleeps(), IsEmpty());
    EXPECT_EQ(handler.currentJobId, 7U);
    EXPECT_THAT(api->callsOf({"selectProject"}), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Reporters, EndOfAJob,
                         testing::Combine(testing::Bool(), testing::Values(0, 1, 2)));

/// The order in which the three are waited for does not show in the calls, but in what is looked
/// at: the later ones may still be outstanding while an earlier one is waited for.
TEST_F(Abort, GoesOnWaitingForALaterReporterThatIsOutstandingAgain) {
    handler.currentJobId = 7;
    handler.serviceReporter.expectJob();
    clock.onSleep([this](auto) {
        const std::size_t sleeps = clock.sleeps().size();
        handler.serviceReporter.done = true;
        handler.flashReporter.done = sleeps == 2;
    });

    act();

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms, 10ms));
}

TEST_F(Abort, DoesNotLookAgainAtAnEarlierReporter) {
    handler.currentJobId = 7;
    handler.flashReporter.expectJob();
    clock.onSleep([this](auto) {
        handler.serviceReporter.done = clock.sleeps().size() > 1;
        handler.quicktestReporter.done = clock.sleeps().size() > 1;
        handler.flashReporter.done = true;
    });

    act();

    EXPECT_THAT(clock.sleeps(), ElementsAre(10ms));
}

} // namespace Quarlen::Tests

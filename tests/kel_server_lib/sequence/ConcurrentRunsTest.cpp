#include <algorithm>
#include <latch>
#include <thread>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// Runs, cancels, aborts and changes on threads of their own, as in the real program.
class ConcurrentRuns : public SequenceFixture {
protected:
    ConcurrentRuns() {
        clock.onSleep([](auto) { std::this_thread::yield(); });
        writeScript("A.xml", R"(<ExecuteAction command="One"/><ExecuteAction command="Two"/>)");
    }

    /// The first job, "One", lasts until somebody cancels it and then reports its end on a thread
    /// of its own; other jobs end at once.
    void letTheFirstJobLastUntilItIsCancelled() {
        api->serviceJob = [this](Kel_cpp::KelApi::ExecuteServiceCallback& callback) {
            if (api->callsOf({"executeService"}).size() == 1) {
                outstanding = &callback;
            } else {
                callback.report({}, 0, nullptr, true);
            }
        };
        api->during("cancelJobs", [this] {
            runtimeThread = std::jthread([this] {
                outstanding.load()->report({std::make_shared<Kel_cpp::ServiceResult>()}, 0, nullptr,
                                           true);
            });
        });
    }

    void waitForTheFirstJob() const {
        while (handler.currentJobId == 0) {
            std::this_thread::yield();
        }
    }

    /// Gives the other threads time to get to where they wait.
    static void letOthersRun() {
        for (int turn = 0; turn < 1000; ++turn) {
            std::this_thread::yield();
        }
    }

    std::atomic<Kel_cpp::KelApi::ExecuteServiceCallback*> outstanding{nullptr};
    std::jthread runtimeThread;
};

TEST_F(ConcurrentRuns, TwoRunsNeverOverlap) {
    std::latch firstInside(1);
    std::latch secondCalls(1);
    std::atomic<bool> held{false};
    std::size_t runsBegun = 0;
    api->during("executeService(#OTX, One)", [&] {
        if (!held.exchange(true)) {
            firstInside.count_down();
            secondCalls.wait();
            for (int turn = 0; turn < 1000; ++turn) {
                std::this_thread::yield();
            }
            runsBegun = api->count("setServerStatus(Running sequence: A.xml)");
        }
    });
    std::jthread first([this] { handler.runSequence(L"A.xml", api); });
    firstInside.wait();
    std::jthread second([&] {
        secondCalls.count_down();
        handler.runSequence(L"A.xml", api);
    });
    first.join();
    second.join();

    EXPECT_EQ(runsBegun, 1U);
    EXPECT_EQ(api->count("setServerStatus(Running sequence: A.xml)"), 2U);
}

TEST_F(ConcurrentRuns, CancelDuringAJobEndsTheRunAfterThatJob) {
    letTheFirstJobLastUntilItIsCancelled();
    std::jthread run([this] { handler.runSequence(L"A.xml", api); });
    waitForTheFirstJob();
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    run.join();
    EXPECT_THAT(api->callsOf({"executeService", "cancelJobs", "selectProject"}),
                ElementsAre("executeService(#OTX, One)", "cancelJobs(7)", "selectProject()",
                            "selectProject()"));
    EXPECT_FALSE(handler.stopRequested);
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_EQ(api->calls().back(), "setServerStatus(Idle)");
}

TEST_F(ConcurrentRuns, AbortDuringAJobLetsTheWalkGoOn) {
    letTheFirstJobLastUntilItIsCancelled();
    std::jthread run([this] { handler.runSequence(L"A.xml", api); });
    waitForTheFirstJob();

    handler.abortSequence(api);

    run.join();
    EXPECT_THAT(api->callsOf({"executeService"}),
                ElementsAre("executeService(#OTX, One)", "executeService(#OTX, Two)"));
    EXPECT_EQ(api->count("selectProject()"), 1U);
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(ConcurrentRuns, AnAbortBetweenTwoFlashItemsWaitsForTheNextItemsJob) {
    writeScript("B.xml", "<FlashingAction><Item>One</Item><Item>Two</Item></FlashingAction>");
    std::jthread abort;
    std::atomic<bool> abortEnded{false};
    bool abortEndedBeforeTheJob = true;
    api->during("getFlashInfo(Two)", [&] {
        abort = std::jthread([&] {
            handler.abortSequence(api);
            abortEnded = true;
        });
        while (api->count("cancelJobs(7)") == 0) {
            std::this_thread::yield();
        }
    });
    api->flashJob = [&](auto& callback) {
        for (int turn = 0; turn < 1000 && !abortEnded; ++turn) {
            std::this_thread::yield();
        }
        abortEndedBeforeTheJob = abortEnded;
        callback.report({}, 0, nullptr, true);
    };

    handler.runSequence(L"B.xml", api);
    abort.join();

    EXPECT_EQ(api->count("executeFlashSessions(Two, 0)"), 1U);
    EXPECT_EQ(api->count("cancelJobs(7)"), 1U);
    EXPECT_FALSE(abortEndedBeforeTheJob);
}

TEST_F(ConcurrentRuns, DestructionWaitsForTheRunOfAButton) {
    holdHandOverF1Sensor();
    std::latch running(1);
    std::atomic<bool> runEnded{false};
    api->during("executeService", [&] { running.count_down(); });
    api->serviceJob = [this](auto& callback) { outstanding = &callback; };
    handler.startF1ScriptThread(L"A.xml", api);
    running.wait();
    std::jthread runtime([&] {
        while (!handler.stopRequested || outstanding.load() == nullptr) {
            std::this_thread::yield();
        }
        runEnded = true;
        outstanding.load()->report({}, 0, nullptr, true);
    });

    owner.reset();

    EXPECT_TRUE(runEnded);
    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 0U);
    EXPECT_EQ(api->calls().back(), "setServerStatus(Idle)");
}

TEST_F(ConcurrentRuns, ARunThatWaitsDoesNotMakeTheRunningOneForgetItsStop) {
    std::jthread second;
    api->during("executeService(#OTX, One)", [&] {
        handler.raiseStop();
        handler.lowerStop();
        api->during("executeService(#OTX, One)", nullptr);
        std::latch calls(1);
        second = std::jthread([&] {
            calls.count_down();
            handler.runSequence(L"Gone.xml", api);
        });
        calls.wait();
        letOthersRun();
    });

    handler.runSequence(L"A.xml", api);
    second.join();

    EXPECT_EQ(api->count("selectProject()"), 1U);
    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 0U);
}

TEST_F(ConcurrentRuns, AStopThatIsLoweredWhileARunWaitsDoesNotCountForIt) {
    std::latch calls(1);
    handler.semaphore.lock();
    std::jthread run([&] {
        calls.count_down();
        handler.runSequence(L"A.xml", api);
    });
    calls.wait();
    letOthersRun();
    handler.raiseStop();
    handler.lowerStop();

    handler.semaphore.unlock();

    run.join();
    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 1U);
    EXPECT_EQ(api->count("selectProject()"), 0U);
}

/// A hand over F1 starts B.xml while a client's run of A.xml is at its job, which only a cancel
/// ends.
class ButtonBehindARun : public ConcurrentRuns {
protected:
    ButtonBehindARun() {
        writeScript("B.xml", R"(<ExecuteAction command="Three"/>)");
        letTheFirstJobLastUntilItIsCancelled();
        clientRun = std::jthread([this] { handler.runSequence(L"A.xml", api); });
        waitForTheFirstJob();
        duringLed([this](const std::string& colour) {
            pressed = pressed || (handler.f1.busy && colour == "0 0 255");
        });
        holdHandOverF1Sensor();
        handler.startF1ScriptThread(L"B.xml", api);
        while (!pressed) {
            std::this_thread::yield();
        }
    }

    TraceCapture traces;
    std::atomic<bool> pressed{false};
    std::jthread clientRun;
};

TEST_F(ButtonBehindARun, GivesUpWhenACancelStopsItWithoutTouchingAnything) {
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    clientRun.join();
    EXPECT_EQ(api->count("cancelJobs(7)"), 1U);
    EXPECT_EQ(api->count("setServerStatus(Running sequence: B.xml)"), 0U);
    EXPECT_THAT(traces.texts(), Not(Contains(L"-> Running sequence: B.xml")));
    EXPECT_EQ(shownColours().back(), "0 255 0");
    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 0U);
}

TEST_F(ButtonBehindARun, GivesUpAlsoWhenTheStopIsLoweredAtOnce) {
    clock.onSleep([this](auto duration) {
        if (duration == 10ms) {
            handler.lowerStop();
        }
        std::this_thread::yield();
    });

    handler.stopScriptThreads();

    EXPECT_FALSE(handler.f1.thread);
    EXPECT_EQ(api->count("setServerStatus(Running sequence: B.xml)"), 0U);
    handler.abortSequence(api);
}

TEST_F(ButtonBehindARun, GivesUpWhenTheButtonIsChanged) {
    handler.changeF1Sequence(L"C.xml", api);

    EXPECT_EQ(api->count("setServerStatus(Running sequence: B.xml)"), 0U);
    EXPECT_EQ(handler.f1.scriptName, L"C.xml");
}

TEST_F(ButtonBehindARun, GivesUpWhenAnotherThreadTakesItsPlace) {
    handler.startF1ScriptThread(L"C.xml", api);

    EXPECT_EQ(handler.f1.scriptName, L"C.xml");
    EXPECT_EQ(api->count("setServerStatus(Running sequence: B.xml)"), 0U);
    handler.abortSequence(api);
}

TEST_F(ButtonBehindARun, RunsAfterItWhenNobodyStopsIt) {
    handler.abortSequence(api);
    clientRun.join();
    while (api->count("executeService(#OTX, Three)") == 0) {
        std::this_thread::yield();
    }

    handler.stopScriptThreads();

    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 1U);
}

TEST_F(ButtonBehindARun, DoesNotKeepAnotherClientFromRunningAfterwards) {
    std::jthread second([this] { handler.runSequence(L"B.xml", api); });
    bool handled = false;
    handler.cancelSequence(api, nullptr, handled);
    second.join();
    clientRun.join();

    EXPECT_EQ(api->count("setServerStatus(Running sequence: B.xml)"), 1U);
}

TEST_F(ConcurrentRuns, ChangeOfAButtonDuringARunCancelsTheRun) {
    letTheFirstJobLastUntilItIsCancelled();
    std::jthread run([this] { handler.runSequence(L"A.xml", api); });
    waitForTheFirstJob();

    handler.changeF1Sequence(L"B.xml", api);

    run.join();
    EXPECT_EQ(api->count("cancelJobs(7)"), 1U);
    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 0U);
    EXPECT_EQ(handler.f1.scriptName, L"B.xml");
}

TEST_F(ConcurrentRuns, TwoThreadsMayStopTheScriptThreadsAtOnce) {
    writeF1Sensor("1000\n");
    writeF2Sensor("1000\n");
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"A.xml", api);
    {
        std::jthread first([this] { handler.stopScriptThreads(); });
        std::jthread second([this] { handler.stopScriptThreads(); });
    }

    EXPECT_TRUE(!handler.f1.thread && !handler.f2.thread);
    EXPECT_TRUE(handler.stopRequested);
}

TEST_F(ConcurrentRuns, BothButtonsMayBeChangedAtOnceDuringARun) {
    writeF1Sensor("1000\n");
    writeF2Sensor("1000\n");
    {
        std::jthread run([this] { handler.runSequence(L"A.xml", api); });
        std::jthread first([this] { handler.changeF1Sequence(L"B.xml", api); });
        std::jthread second([this] { handler.changeF2Sequence(L"C.xml", api); });
    }

    EXPECT_EQ(handler.f1.scriptName, L"B.xml");
    EXPECT_EQ(handler.f2.scriptName, L"C.xml");
}

TEST_F(ConcurrentRuns, AFailureReleasesTheRunLock) {
    api->throwIn("setServerStatus(Running sequence: A.xml)", L"gone", 3);
    EXPECT_THROW(handler.runSequence(L"A.xml", api), Kel_cpp::KelApiException);

    EXPECT_EQ(api.use_count(), 1);
    EXPECT_TRUE(runLockIsFree());
}

} // namespace Quarlen::Tests

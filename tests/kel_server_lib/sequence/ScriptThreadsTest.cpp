#include <latch>
#include <system_error>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// The threads of the two buttons: their start, stop and change.
class ScriptThreads : public SequenceFixture {
protected:
    ScriptThreads() {
        clock.onSleep([](auto) { std::this_thread::yield(); });
        writeF1Sensor("1000\n");
        writeF2Sensor("1000\n");
    }

    /// What a stop raises when it is called inside a run of F1's button thread.
    std::error_code errorOfStopInsideF1Run() {
        holdHandOverF1Sensor();
        std::latch called(1);
        std::error_code code;
        api->during("setServerStatus(Running sequence: A.xml)", [&] {
            try {
                handler.stopScriptThreads();
            } catch (const std::system_error& error) {
                code = error.code();
            }
            called.count_down();
        });
        handler.startF1ScriptThread(L"A.xml", api);
        called.wait();
        handler.stopScriptThreads();
        return code;
    }
};

TEST_F(ScriptThreads, StartBindsTheScriptAndRunsAThread) {
    const TraceCapture traces;

    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);

    EXPECT_EQ(handler.f1.scriptName, L"A.xml");
    EXPECT_EQ(handler.f2.scriptName, L"B.xml");
    EXPECT_TRUE(handler.f1.thread && handler.f2.thread);
    EXPECT_EQ(handler.f1.api, api);
    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> start F1 script thread", L"-> start F2 script thread"));
}

TEST_F(ScriptThreads, StopJoinsBothAndReleasesWhatTheyHeld) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);

    handler.stopScriptThreads();

    EXPECT_TRUE(!handler.f1.thread && !handler.f2.thread);
    EXPECT_THAT(handler.f1.samples, IsEmpty());
    EXPECT_EQ(api.use_count(), 1);
    EXPECT_EQ(handler.f1.scriptName, L"A.xml");
}

TEST_F(ScriptThreads, StopLeavesTheStopRaised) {
    handler.startF1ScriptThread(L"A.xml", api);

    handler.stopScriptThreads();

    EXPECT_TRUE(handler.stopRequested);
}

TEST_F(ScriptThreads, StopTracesEachThreadThatItStops) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);
    const TraceCapture traces;

    handler.stopScriptThreads();

    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> wait to stop F1 thread", L"-> start stop F1 thread",
                            L"-> wait to stop F2 thread", L"-> start stop F2 thread"));
}

TEST_F(ScriptThreads, StopWithoutThreadsOnlyRaisesTheStop) {
    const TraceCapture traces;

    handler.stopScriptThreads();

    EXPECT_TRUE(handler.stopRequested);
    EXPECT_THAT(traces.texts(), IsEmpty());
}

TEST_F(ScriptThreads, StopInsideAButtonThreadIsRefused) {
    writeScript("A.xml", "");

    const std::error_code code = errorOfStopInsideF1Run();

    EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

TEST_F(ScriptThreads, StopGoesOnUntilAThreadWhoseStoppedRunLoweredTheStopHasEnded) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)");
    holdHandOverF1Sensor();
    std::latch running(1);
    std::latch stopping(1);
    api->during("executeService", [&] {
        running.count_down();
        stopping.wait();
    });
    handler.startF1ScriptThread(L"A.xml", api);
    running.wait();
    std::thread release([&] {
        while (!handler.stopRequested) {
            std::this_thread::yield();
        }
        stopping.count_down();
    });

    handler.stopScriptThreads();

    release.join();
    EXPECT_TRUE(handler.stopRequested);
    EXPECT_FALSE(handler.f1.thread);
    EXPECT_EQ(api->count("selectProject()"), 1U);
}

TEST_F(ScriptThreads, StartAfterAnotherThreadTakesItsPlace) {
    handler.startF1ScriptThread(L"A.xml", api);

    handler.startF1ScriptThread(L"B.xml", api);

    EXPECT_EQ(handler.f1.scriptName, L"B.xml");
    EXPECT_TRUE(handler.f1.thread->joinable());
}

TEST_F(ScriptThreads, CancelEndsThemForGood) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);
    bool handled = false;

    handler.cancelSequence(api, nullptr, handled);

    EXPECT_TRUE(!handler.f1.thread && !handler.f2.thread);
    EXPECT_FALSE(handler.stopRequested);
}

TEST_F(ScriptThreads, AbortLeavesThemRunning) {
    handler.startF1ScriptThread(L"A.xml", api);

    handler.abortSequence(api);

    EXPECT_TRUE(handler.f1.thread);
    EXPECT_FALSE(handler.f1.ended);
}

TEST_F(ScriptThreads, ChangeOfF1CancelsStopsAndRestartsF1BeforeF2) {
    handler.startF2ScriptThread(L"B.xml", api);
    const TraceCapture traces;

    handler.changeF1Sequence(L"C.xml", api);

    EXPECT_EQ(handler.f1.scriptName, L"C.xml");
    EXPECT_EQ(handler.f2.scriptName, L"B.xml");
    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> changeF1Sequence", L"-> cancelSequence ",
                            L"-> wait to stop F2 thread", L"-> start stop F2 thread",
                            L"<- cancelSequence ", L"-> start F1 script thread",
                            L"-> start F2 script thread"));
}

TEST_F(ScriptThreads, ChangeOfF2RestartsF1BeforeF2) {
    handler.startF1ScriptThread(L"A.xml", api);
    const TraceCapture traces;

    handler.changeF2Sequence(L"C.xml", api);

    EXPECT_EQ(handler.f1.scriptName, L"A.xml");
    EXPECT_EQ(handler.f2.scriptName, L"C.xml");
    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> changeF2Sequence", L"-> cancelSequence ",
                            L"-> wait to stop F1 thread", L"-> start stop F1 thread",
                            L"<- cancelSequence ", L"-> start F1 script thread",
                            L"-> start F2 script thread"));
}

TEST_F(ScriptThreads, ChangeOfF1ToNothingClearsItAndKeepsF2) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);

    handler.changeF1Sequence(L"", api);

    EXPECT_EQ(handler.f1.scriptName, L"");
    EXPECT_FALSE(handler.f1.thread);
    EXPECT_EQ(handler.f2.scriptName, L"B.xml");
    EXPECT_TRUE(handler.f2.thread);
}

TEST_F(ScriptThreads, ChangeOfF2ToNothingClearsItAndKeepsF1) {
    handler.startF1ScriptThread(L"A.xml", api);
    handler.startF2ScriptThread(L"B.xml", api);

    handler.changeF2Sequence(L"", api);

    EXPECT_EQ(handler.f2.scriptName, L"");
    EXPECT_FALSE(handler.f2.thread);
    EXPECT_EQ(handler.f1.scriptName, L"A.xml");
    EXPECT_TRUE(handler.f1.thread);
}

TEST_F(ScriptThreads, ChangeLeavesTheStopRaisedSoThatTheRestartedThreadsEndAtOnce) {
    handler.changeF1Sequence(L"A.xml", api);

    EXPECT_TRUE(handler.stopRequested);
    handler.f1.thread->join();
    EXPECT_TRUE(handler.f1.ended);
    EXPECT_THAT(handler.f1.samples, IsEmpty());
}

TEST_F(ScriptThreads, TheNextRunAfterAChangeIsStoppedAndLowersTheStop) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)");
    handler.changeF1Sequence(L"B.xml", api);
    api->forgetCalls();

    handler.runSequence(L"A.xml", api);

    EXPECT_FALSE(handler.stopRequested);
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: A.xml)",
                                          "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(ScriptThreads, ChangeThatFailsReleasesTheButtons) {
    api->throwIn("getActiveConnections", L"gone", 3);
    EXPECT_THROW(handler.changeF1Sequence(L"A.xml", api), Kel_cpp::KelApiException);
    api->during("getActiveConnections", nullptr);

    handler.changeF2Sequence(L"B.xml", api);

    EXPECT_EQ(handler.f2.scriptName, L"B.xml");
}

TEST_F(ScriptThreads, StopLeavesABusyButtonBusyUntilItsNextFarReading) {
    // One reading, of the ten that only make the background, and then none.
    clock.onSleep([this](std::chrono::milliseconds duration) {
        if (duration == std::chrono::milliseconds(200)) {
            writeF1Sensor("");
        }
    });
    handler.startF1ScriptThread(L"A.xml", api);
    handler.f1.busy = true;

    handler.stopScriptThreads();

    EXPECT_TRUE(handler.f1.busy);
}

} // namespace Quarlen::Tests

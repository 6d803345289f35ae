#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;

/// A run that begins another one on its own thread, from within a call of the runtime. What follows
/// the call in the outer script is an unlock action, which looks at no stop itself.
class NestedRuns : public SequenceFixture {
protected:
    NestedRuns() {
        writeScript("Outer.xml",
                    R"(<ExecuteAction command="One"/>)"
                    R"(<UnlockAction><Unlock name="U" parameter="p"/></UnlockAction>)");
        writeScript("Inner.xml", R"(<ExecuteAction command="Two"/>)");
    }

    /// Runs Outer.xml, whose first action does `what` from within the runtime.
    void runOuterThatDoes(std::function<void()> what) {
        api->during("executeService(#OTX, One)", std::move(what));
        handler.runSequence(L"Outer.xml", api);
    }

    void runInner() { handler.runSequence(L"Inner.xml", api); }

    void raiseAndLower() {
        handler.raiseStop();
        handler.lowerStop();
    }

    [[nodiscard]] bool outerWasStopped() const {
        return api->callsOf({"openUnlockSession"}).empty() &&
               api->calls()[api->calls().size() - 2] == "selectProject()";
    }
};

TEST_F(NestedRuns, BeginAndEndWithinTheOuterOne) {
    runOuterThatDoes([this] { runInner(); });

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: Outer.xml)",
                                          "setServerStatus(Running execute action: One)",
                                          "executeService(#OTX, One)",
                                          "setServerStatus(Running sequence: Inner.xml)",
                                          "setServerStatus(Running execute action: Two)",
                                          "executeService(#OTX, Two)", "setServerStatus(Idle)",
                                          "setServerStatus(Idle)", "setServerStatus(Idle)",
                                          "openUnlockSession(U, p)", "setServerStatus(Idle)"));
}

TEST_F(NestedRuns, LeaveTheLockToTheOuterOne) {
    bool freeAfterInner = true;

    runOuterThatDoes([&] {
        runInner();
        freeAfterInner = runLockIsFree();
    });

    EXPECT_FALSE(freeAfterInner);
    EXPECT_TRUE(runLockIsFree());
}

TEST_F(NestedRuns, MayBeAskedForByAClient) {
    bool handled = false;

    runOuterThatDoes([&] { handler.startSequence(L"Inner.xml", api, nullptr, handled); });

    EXPECT_TRUE(handled);
    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 1U);
}

TEST_F(NestedRuns, LeaveTheOuterOneItsStopThatTheyHaveLowered) {
    runOuterThatDoes([this] {
        handler.raiseStop();
        runInner();
        EXPECT_FALSE(handler.stopRequested);
    });

    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 0U);
    EXPECT_TRUE(outerWasStopped());
}

TEST_F(NestedRuns, LeaveTheOuterOneItsStopThatWasLoweredBeforeThem) {
    runOuterThatDoes([this] {
        raiseAndLower();
        runInner();
    });

    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 1U);
    EXPECT_TRUE(outerWasStopped());
}

TEST_F(NestedRuns, StopTheOuterOneTooWhenTheyAreStopped) {
    api->during("executeService(#OTX, Two)", [this] { raiseAndLower(); });

    runOuterThatDoes([this] { runInner(); });

    EXPECT_EQ(api->count("selectProject()"), 2U);
    EXPECT_TRUE(outerWasStopped());
}

TEST_F(NestedRuns, LeaveTheOuterOneItsStopAlsoWhenTheyFail) {
    api->throwIn("setServerStatus(Running sequence: Inner.xml)", L"gone", 3);

    runOuterThatDoes([this] {
        raiseAndLower();
        EXPECT_THROW(runInner(), Kel_cpp::KelApiException);
    });

    EXPECT_TRUE(outerWasStopped());
}

TEST_F(NestedRuns, MayBeNestedThemselves) {
    api->during("executeService(#OTX, Two)", [this] {
        if (api->count("setServerStatus(Running sequence: Inner.xml)") == 1) {
            raiseAndLower();
            runInner();
        }
    });

    runOuterThatDoes([this] { runInner(); });

    EXPECT_EQ(api->count("executeService(#OTX, Two)"), 2U);
    EXPECT_EQ(api->count("selectProject()"), 2U);
    EXPECT_TRUE(outerWasStopped());
}

} // namespace Quarlen::Tests

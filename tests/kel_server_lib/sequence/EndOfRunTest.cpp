#include <stdexcept>

#include "kel_server_lib/sequence/SequenceRun.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// What follows the walk: the stop, the LED, the trace and the status, in this order.
class EndOfRun : public SequenceFixture {
protected:
    EndOfRun() { writeScript("A.xml", R"(<ExecuteAction command="One"/>)"); }

    void runA() { handler.runSequence(L"A.xml", api); }

    void stopDuring(const std::string& call) {
        api->during(call, [this] { handler.raiseStop(); });
    }
};

TEST_F(EndOfRun, ShowsTheLedThenTracesThenSetsTheStatus) {
    const TraceCapture traces;
    const std::wstring exitTrace = L"<- Running sequence: A.xml";
    Calls statusesAtGreen;
    bool tracedAtGreen = true;
    duringLed([&](const std::string& colour) {
        if (colour == "0 255 0") {
            statusesAtGreen = statuses();
            tracedAtGreen = traces.texts().back() == exitTrace;
        }
    });
    bool tracedAtLastIdle = false;
    api->during("setServerStatus(Idle)",
                [&] { tracedAtLastIdle = traces.texts().back() == exitTrace; });

    runA();

    EXPECT_THAT(statusesAtGreen, ElementsAre("setServerStatus(Running sequence: A.xml)",
                                             "setServerStatus(Running execute action: One)",
                                             "setServerStatus(Idle)"));
    EXPECT_FALSE(tracedAtGreen);
    EXPECT_TRUE(tracedAtLastIdle);
}

TEST_F(EndOfRun, ColoursAreBlueThenGreen) {
    runA();

    EXPECT_THAT(shownColours(), ElementsAre("0 0 255", "0 255 0"));
}

TEST_F(EndOfRun, ColoursOfAFailureAreBlueThenRed) {
    api->throwIn("executeService", L"gone", 3);

    runA();

    EXPECT_THAT(shownColours(), ElementsAre("0 0 255", "255 0 0"));
}

TEST_F(EndOfRun, BlueIsShownAfterTheStatusAndBeforeTheFirstAction) {
    Calls callsAtBlue;
    duringLed([&](const std::string& colour) {
        if (colour == "0 0 255") {
            callsAtBlue = api->calls();
        }
    });

    runA();

    EXPECT_THAT(callsAtBlue, ElementsAre("setServerStatus(Running sequence: A.xml)"));
}

TEST_F(EndOfRun, AnExceptionThatPassesLeavesLedStatusAndTrace) {
    const TraceCapture traces;
    api->during("executeService", [] { throw std::runtime_error("not the runtime's own"); });

    EXPECT_THROW(runA(), std::runtime_error);

    EXPECT_THAT(shownColours(), ElementsAre("0 0 255"));
    EXPECT_EQ(statuses().back(), "setServerStatus(Running execute action: One)");
    EXPECT_THAT(traces.texts(), Not(Contains(L"<- Running sequence: A.xml")));
    EXPECT_TRUE(runLockIsFree());
}

TEST_F(EndOfRun, AnExceptionThatPassesLeavesARaisedStopAndTheUnlockHandle) {
    handler.currentJobHandle = 41;
    api->during("executeService", [this] {
        handler.raiseStop();
        throw std::runtime_error("not the runtime's own");
    });

    EXPECT_THROW(runA(), std::runtime_error);

    EXPECT_TRUE(handler.stopRequested);
    EXPECT_EQ(handler.currentJobHandle, 41U);
    EXPECT_THAT(api->callsOf({"releaseJob", "selectProject"}), IsEmpty());
}

TEST_F(EndOfRun, OfAStoppedRunThatSucceededIsGreen) {
    stopDuring("executeService");

    runA();

    EXPECT_EQ(ledColour(), "0 255 0");
    EXPECT_EQ(api->count("selectProject()"), 1U);
}

TEST_F(EndOfRun, OfAStoppedRunThatFailedIsRed) {
    api->during("executeService", [this] {
        handler.raiseStop();
        throw Kel_cpp::KelApiException(L"gone", 3);
    });

    runA();

    EXPECT_EQ(ledColour(), "255 0 0");
    EXPECT_EQ(api->count("selectProject()"), 1U);
}

TEST_F(EndOfRun, ReleasesTheHandleForgetsItClosesTheProjectAndThenLowersTheStop) {
    handler.currentJobHandle = 41;
    stopDuring("executeService");
    std::uint64_t handleAtClose = 41;
    bool raisedAtClose = false;
    api->during("selectProject()", [&] {
        handleAtClose = handler.currentJobHandle;
        raisedAtClose = handler.stopRequested;
    });

    runA();

    EXPECT_THAT(api->callsOf({"releaseJob", "selectProject"}),
                ElementsAre("releaseJob(41)", "selectProject()"));
    EXPECT_EQ(handleAtClose, 0U);
    EXPECT_TRUE(raisedAtClose);
    EXPECT_FALSE(handler.stopRequested);
}

TEST_F(EndOfRun, HandlesTheStopBeforeTheLed) {
    stopDuring("executeService");
    Calls coloursAtClose;
    api->during("selectProject()", [&] { coloursAtClose = shownColours(); });

    runA();

    EXPECT_THAT(coloursAtClose, ElementsAre("0 0 255"));
    EXPECT_THAT(shownColours(), ElementsAre("0 0 255", "0 255 0"));
}

TEST_F(EndOfRun, AStopIsNotLoweredWhenTheProjectCannotBeClosed) {
    stopDuring("executeService");
    api->throwIn("selectProject()", L"gone", 3);

    EXPECT_THROW(runA(), Kel_cpp::KelApiException);

    EXPECT_TRUE(handler.stopRequested);
    EXPECT_EQ(ledColour(), "0 0 255");
}

TEST_F(EndOfRun, AStopBeforeTheRunRunsNoActionAndClosesTheProject) {
    handler.raiseStop();

    runA();

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: A.xml)",
                                          "selectProject()", "setServerStatus(Idle)"));
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(EndOfRun, AStopCountsAlsoWhenItIsLoweredBeforeTheEnd) {
    api->during("executeService", [this] {
        handler.raiseStop();
        handler.lowerStop();
    });
    handler.currentJobHandle = 41;

    runA();

    EXPECT_THAT(api->callsOf({"releaseJob", "selectProject"}),
                ElementsAre("releaseJob(41)", "selectProject()"));
    EXPECT_EQ(handler.currentJobHandle, 0U);
}

TEST_F(EndOfRun, AWalkThatWasStoppedStaysSoWhenTheStopIsLoweredBehindIt) {
    handler.stopRequested = true;
    handler.currentJobHandle = 41;
    const auto walkThenLower = [](ServerHandlerSequence& handler, const auto& api,
                                  const Config::CfxKelServerScript& script) {
        const WalkResult result = walkActions(handler, api, script);
        handler.lowerStop();
        return result;
    };

    SequenceRun(handler, L"A.xml", api, walkThenLower).run();

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running sequence: A.xml)", "releaseJob(41)",
                            "selectProject()", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobHandle, 0U);
}

TEST_F(EndOfRun, LowersAStopThatWasRaisedAgainBehindTheWalk) {
    const auto walkThenRaise = [](ServerHandlerSequence& handler, const auto& api,
                                  const Config::CfxKelServerScript& script) {
        const WalkResult result = walkActions(handler, api, script);
        handler.raiseStop();
        return result;
    };

    SequenceRun(handler, L"A.xml", api, walkThenRaise).run();

    EXPECT_EQ(api->count("selectProject()"), 1U);
    EXPECT_FALSE(handler.stopRequested);
}

TEST_F(EndOfRun, AMissingScriptLeavesARaisedStopAndTheUnlockHandle) {
    handler.raiseStop();
    handler.currentJobHandle = 41;

    handler.runSequence(L"Gone.xml", api);

    EXPECT_TRUE(handler.stopRequested);
    EXPECT_EQ(handler.currentJobHandle, 41U);
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: Gone.xml)"));
    EXPECT_THAT(shownColours(), IsEmpty());
}

TEST_F(EndOfRun, AFailedRunKeepsTheUnlockHandleAndTheProject) {
    handler.currentJobHandle = 41;
    api->throwIn("executeService", L"gone", 3);

    runA();

    EXPECT_EQ(handler.currentJobHandle, 41U);
    EXPECT_THAT(api->callsOf({"releaseJob", "selectProject"}), IsEmpty());
}

TEST_F(EndOfRun, AnOrdinaryRunDoesNotCloseTheProject) {
    runA();

    EXPECT_THAT(api->callsOf({"selectProject"}), IsEmpty());
}

/// Scripts of which nothing is carried out.
class EndOfRunWithoutActions : public EndOfRun, public testing::WithParamInterface<const char*> {
protected:
    EndOfRunWithoutActions() { folder.write("config/KelServerScripts/B.xml", GetParam()); }
};

TEST_P(EndOfRunWithoutActions, HandlesARaisedStopToo) {
    handler.raiseStop();
    handler.currentJobHandle = 41;
    Calls coloursAtClose;
    api->during("selectProject()", [&] { coloursAtClose = shownColours(); });

    handler.runSequence(L"B.xml", api);

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running sequence: B.xml)", "releaseJob(41)",
                            "selectProject()", "setServerStatus(Idle)"));
    EXPECT_THAT(coloursAtClose, ElementsAre("0 0 255"));
    EXPECT_THAT(shownColours(), ElementsAre("0 0 255", "0 255 0"));
    EXPECT_FALSE(handler.stopRequested);
}

TEST_P(EndOfRunWithoutActions, TracesItsEndLikeEveryOther) {
    const TraceCapture traces;

    handler.runSequence(L"B.xml", api);

    EXPECT_EQ(traces.texts().front(), L"-> Running sequence: B.xml");
    EXPECT_EQ(traces.texts().back(), L"<- Running sequence: B.xml");
    EXPECT_THAT(shownColours(), ElementsAre("0 0 255", "0 255 0"));
}

INSTANTIATE_TEST_SUITE_P(Scripts, EndOfRunWithoutActions,
                         testing::Values("<KelServerScript><Exec", "<Other/>",
                                         "<KelServerScript/>"));

} // namespace Quarlen::Tests

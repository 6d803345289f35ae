#include "kel_server_lib/sequence/SequenceRun.hpp"

#include "platform/TextEncoding.hpp"
#include "tests/kel_server_lib/sequence/DuringTraces.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

class SequenceRunTest : public SequenceFixture {
protected:
    void stopDuring(const std::string& call) {
        api->during(call, [this] { handler.raiseStop(); });
    }
};

TEST_F(SequenceRunTest, RunsAScriptOfTheScriptsFolder) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)");

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: A.xml)",
                                          "setServerStatus(Running execute action: One)",
                                          "executeService(#OTX, One)", "setServerStatus(Idle)",
                                          "setServerStatus(Idle)"));
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(SequenceRunTest, RunsAScriptThatIsNamedByItsPath) {
    const auto path = folder.write("elsewhere/B.xml", "<KelServerScript/>");
    const std::wstring name = Platform::fromPath(path);

    handler.runSequence(name, api);

    EXPECT_EQ(api->calls().back(), "setServerStatus(Idle)");
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(SequenceRunTest, LeavesStatusAndLedAsTheyAreWhenTheScriptIsMissing) {
    const TraceCapture traces;

    handler.runSequence(L"Gone.xml", api);

    const auto path = folder.path() / "config" / "KelServerScripts" / "Gone.xml";
    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: Gone.xml)"));
    EXPECT_EQ(ledColour(), "- - -");
    EXPECT_EQ(printed(), "File not found: " + path.string() + "\n");
    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> Running sequence: Gone.xml", L"File not found: Gone.xml"));
    EXPECT_EQ(traces.lines().back().level, StdUtil::TraceLevel::Error);
}

TEST_F(SequenceRunTest, ReleasesTheRunLockWhenTheScriptIsMissing) {
    handler.runSequence(L"Gone.xml", api);

    EXPECT_TRUE(runLockIsFree());
}

TEST_F(SequenceRunTest, AScriptWithoutActionsEndsIdleAndGreen) {
    writeScript("A.xml", "");

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Running sequence: A.xml)", "setServerStatus(Idle)"));
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(SequenceRunTest, AScriptWithoutResultLedLeavesTheLedBlue) {
    writeScript("A.xml", "", R"(resultLed="false")");

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(ledColour(), "0 0 255");
}

TEST_F(SequenceRunTest, AScriptThatCannotBeLoadedEndsLikeASuccessfulOne) {
    folder.write("config/KelServerScripts/A.xml", "<KelServerScript><Exec");

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(api->calls().back(), "setServerStatus(Idle)");
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(SequenceRunTest, AScriptWithAnotherRootEndsLikeASuccessfulOne) {
    folder.write("config/KelServerScripts/A.xml",
                 R"(<Other resultLed="false"><ExecuteAction command="One"/></Other>)");

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(api->callsOf({"executeService"}), ElementsAre());
    EXPECT_EQ(ledColour(), "0 255 0");
}

TEST_F(SequenceRunTest, AFailedActionTurnsTheLedRedAlsoWithoutResultLed) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)", R"(resultLed="false")");
    api->throwIn("executeService", L"gone", 3);

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(ledColour(), "255 0 0");
    EXPECT_EQ(api->calls().back(), "setServerStatus(Idle)");
}

TEST_F(SequenceRunTest, AQuicktestThatFailsAfterASuccessTurnsTheLedRed) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/><QuicktestAction/>)");
    api->throwIn("performQuickTest", L"gone", 3);

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(api->count("executeService(#OTX, One)"), 1U);
    EXPECT_EQ(ledColour(), "255 0 0");
}

TEST_F(SequenceRunTest, TheLedIsBlueWhileTheScriptRuns) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/>)");
    std::string during;
    api->during("executeService", [&] { during = ledColour(); });

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(during, "0 0 255");
}

TEST_F(SequenceRunTest, AStopDuringAnActionLetsItFinishAndThenClosesTheProject) {
    writeScript("A.xml", R"(<ExecuteAction command="One"/><ExecuteAction command="Two"/>)");
    stopDuring("executeService");

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Running sequence: A.xml)",
                                          "setServerStatus(Running execute action: One)",
                                          "executeService(#OTX, One)", "setServerStatus(Idle)",
                                          "selectProject()", "setServerStatus(Idle)"));
    EXPECT_FALSE(handler.stopRequested);
}

TEST_F(SequenceRunTest, AStoppedRunReleasesTheUnlockHandleAndForgetsIt) {
    writeScript("A.xml", R"(<UnlockAction><Unlock name="U" parameter="p"/></UnlockAction>)");
    api->unlockHandle = 41;
    stopDuring("openUnlockSession");

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(handler.currentJobHandle, 0U);
    EXPECT_THAT(api->callsOf({"releaseJob", "selectProject"}),
                ElementsAre("releaseJob(41)", "selectProject()"));
}

TEST_F(SequenceRunTest, TheUnlockHandleOutlivesANormalRun) {
    writeScript("A.xml", R"(<UnlockAction><Unlock name="U" parameter="p"/></UnlockAction>)");
    api->unlockHandle = 41;

    handler.runSequence(L"A.xml", api);

    EXPECT_EQ(handler.currentJobHandle, 41U);
    EXPECT_EQ(api->count("releaseJob(41)"), 0U);
}

TEST_F(SequenceRunTest, TracesItsBeginningAndEnd) {
    writeScript("A.xml", "");
    const TraceCapture traces;

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(traces.texts(),
                ElementsAre(L"-> Running sequence: A.xml", L"<- Running sequence: A.xml"));
}

TEST_F(SequenceRunTest, TracesBeforeItSetsItsStatus) {
    writeScript("A.xml", "");
    const TraceCapture traces;
    std::vector<std::wstring> before;
    api->during("setServerStatus(Running sequence: A.xml)", [&] { before = traces.texts(); });

    handler.runSequence(L"A.xml", api);

    EXPECT_THAT(before, ElementsAre(L"-> Running sequence: A.xml"));
}

TEST_F(SequenceRunTest, HoldsTheRunLockFromItsFirstTraceToItsLastStatus) {
    writeScript("A.xml", "");
    std::vector<bool> free;
    api->during("setServerStatus", [&] { free.push_back(runLockIsFree()); });
    {
        const DuringTraces watch([&](const std::wstring&) { free.push_back(runLockIsFree()); });
        handler.runSequence(L"A.xml", api);
    }

    EXPECT_THAT(free, SizeIs(4));
    EXPECT_THAT(free, Each(false));
    EXPECT_TRUE(runLockIsFree());
}

TEST_F(SequenceRunTest, AFailureOutsideAnActionPassesToTheCallerAndReleasesEverything) {
    writeScript("A.xml", "<FlashingAction/>");
    api->throwIn("getDataFolders", L"gone", 3);

    EXPECT_THROW(handler.runSequence(L"A.xml", api), Kel_cpp::KelApiException);

    EXPECT_EQ(api.use_count(), 1);
    EXPECT_TRUE(runLockIsFree());
}

} // namespace Quarlen::Tests

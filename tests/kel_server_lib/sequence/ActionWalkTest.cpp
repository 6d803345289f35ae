#include "kel_server_lib/sequence/ActionWalk.hpp"

#include "kel_server_lib/sequence/actions/QuicktestSettings.hpp"
#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class WalkActions : public SequenceFixture {
protected:
    /// An action of this class at the end of the script.
    template <class Action>
    Action& add() {
        auto* const action = new Action;
        script.actions.push_back(Config::Ref<Config::ConfigObject>(action));
        return *action;
    }

    void addExecute(const std::wstring& command, bool enabled = true) {
        auto& action = add<Config::CfxExecuteAction>();
        action.command = command;
        action.enabled = enabled;
    }

    void putIntoFlashFolder(const std::vector<std::wstring>& paths) {
        const auto folder = std::make_shared<Kel_cpp::DataFolder>();
        folder->name = L"flashdata";
        for (const std::wstring& path : paths) {
            const auto file = std::make_shared<Kel_cpp::DataFile>();
            file->path = path;
            file->present = true;
            folder->files.push_back(file);
        }
        api->dataFolders.push_back(folder);
    }

    /// Whether no action has failed.
    bool walk() { return walkActions(handler, api, script).success; }

    Config::CfxKelServerScript script;
};

TEST_F(WalkActions, RunsTheActionsInFileOrder) {
    addExecute(L"One");
    addExecute(L"Two");

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"executeService"}),
                ElementsAre("executeService(#OTX, One)", "executeService(#OTX, Two)"));
}

TEST_F(WalkActions, EndsAfterTheFirstFailedAction) {
    addExecute(L"One");
    addExecute(L"Two");
    api->throwIn("executeService", L"gone", 3);

    EXPECT_FALSE(walk());

    EXPECT_THAT(api->callsOf({"executeService"}), ElementsAre("executeService(#OTX, One)"));
}

TEST_F(WalkActions, SkipsADisabledExecuteActionWithoutAnyCall) {
    addExecute(L"One", false);

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(WalkActions, SkipsWhatItDoesNotKnow) {
    add<Config::CfxUnknown>();
    addExecute(L"One");

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("executeService(#OTX, One)"), 1U);
}

TEST_F(WalkActions, RunsNothingWhenAStopIsRaisedAlready) {
    addExecute(L"One");
    handler.raiseStop();

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(WalkActions, TellsThatAStopKeptAnActionFromBeingBegun) {
    addExecute(L"One");
    EXPECT_FALSE(walkActions(handler, api, script).stopped);

    handler.raiseStop();

    EXPECT_TRUE(walkActions(handler, api, script).stopped);
}

TEST_F(WalkActions, TellsOfNoStopWhenAllActionsHaveBeenBegun) {
    addExecute(L"One");
    api->during("executeService", [this] { handler.raiseStop(); });

    EXPECT_FALSE(walkActions(handler, api, script).stopped);
}

TEST_F(WalkActions, TellsOfNoStopBehindAnActionThatFailed) {
    addExecute(L"One");
    addExecute(L"Two");
    api->during("executeService", [this] {
        handler.raiseStop();
        throw Kel_cpp::KelApiException(L"gone", 3);
    });

    const WalkResult result = walkActions(handler, api, script);

    EXPECT_FALSE(result.success);
    EXPECT_FALSE(result.stopped);
}

TEST_F(WalkActions, RemembersAStopThatWasLoweredDuringAnAction) {
    addExecute(L"One");
    add<Config::CfxUnlockAction>().unlock = {{L"U", L"p"}};
    api->during("executeService", [this] {
        handler.raiseStop();
        handler.lowerStop();
    });

    EXPECT_TRUE(walkActions(handler, api, script).stopped);

    EXPECT_THAT(api->callsOf({"openUnlockSession"}), IsEmpty());
}

TEST_F(WalkActions, LooksAtTheStopBeforeEachAction) {
    for (int count = 0; count < 3; ++count) {
        add<Config::CfxUnlockAction>().unlock = {{L"U", L"p"}};
    }
    api->unlockHandle = 0;
    api->during("openUnlockSession", [this] {
        if (api->count("openUnlockSession(U, p)") == 2) {
            handler.raiseStop();
        }
    });

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("openUnlockSession(U, p)"), 2U);
}

TEST_F(WalkActions, HandsASelectActionsAutoConnectOnAsItIs) {
    add<Config::CfxSelectAction>().project = L"P1";

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"connectVehicle"}), IsEmpty());
    EXPECT_THAT(api->callsOf({"identifyVehicle"}), ElementsAre("identifyVehicle(0)"));
}

TEST_F(WalkActions, AFailedSelectActionFailsTheScript) {
    add<Config::CfxSelectAction>().project = L"P1";
    addExecute(L"One");
    api->throwIn("selectProject", L"gone", 3);

    EXPECT_FALSE(walk());

    EXPECT_THAT(api->callsOf({"executeService"}), IsEmpty());
}

TEST_F(WalkActions, AFailedFlashingActionFailsTheScript) {
    add<Config::CfxFlashingAction>().items = {L"Item"};
    addExecute(L"One");
    api->throwIn("executeFlashSessions", L"gone", 3);

    EXPECT_FALSE(walk());

    EXPECT_THAT(api->callsOf({"executeService"}), IsEmpty());
}

TEST_F(WalkActions, AutoSelectReleasesNoUnlockHandle) {
    add<Config::CfxSelectAction>().project = L"AUTO_SELECT";
    handler.currentJobHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"releaseJob"}), IsEmpty());
    EXPECT_EQ(handler.currentJobHandle, 41U);
}

TEST_F(WalkActions, ASelectActionWithoutProjectGoesOnAfterTheRelease) {
    add<Config::CfxSelectAction>();
    handler.currentJobHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(), ElementsAre("releaseJob(41)", "setServerStatus(Selecting project )",
                                          "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(WalkActions, ASelectActionWithoutProjectReleasesNothingWhenNoHandleIsHeld) {
    add<Config::CfxSelectAction>();

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"releaseJob", "selectProject"}), ElementsAre("selectProject()"));
}

TEST_F(WalkActions, ReleasesTheSameHandleAgainInALaterSelectActionWithoutProject) {
    add<Config::CfxSelectAction>();
    add<Config::CfxUnlockAction>().unlock = {{L"U", L"p"}};
    add<Config::CfxSelectAction>();
    handler.currentJobHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("releaseJob(41)"), 2U);
    EXPECT_THAT(api->callsOf({"openUnlockSession"}), IsEmpty());
}

TEST_F(WalkActions, AReleaseThatFailsPassesToTheCaller) {
    add<Config::CfxSelectAction>();
    handler.currentJobHandle = 41;
    api->throwIn("releaseJob", L"gone", 3);

    EXPECT_THROW(walk(), Kel_cpp::KelApiException);

    EXPECT_THAT(api->callsOf({"selectProject"}), IsEmpty());
}

TEST_F(WalkActions, HandsASelectActionsTextsOn) {
    auto& action = add<Config::CfxSelectAction>();
    action.project = L"P1";
    action.vehicleInformation = L"VIT_A";
    action.autoConnect = true;

    EXPECT_TRUE(walk());

    EXPECT_THAT(
        api->callsOf({"selectProject", "selectVehicleInformation", "connectVehicle"}),
        ElementsAre("selectProject(P1)", "selectVehicleInformation(VIT_A)", "connectVehicle()"));
}

TEST_F(WalkActions, ASelectActionWithoutProjectReleasesTheUnlockHandleButKeepsItsValue) {
    add<Config::CfxSelectAction>();
    handler.currentJobHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->calls().front(), "releaseJob(41)");
    EXPECT_EQ(handler.currentJobHandle, 41U);
}

TEST_F(WalkActions, ASelectActionWithAProjectKeepsTheUnlockSession) {
    add<Config::CfxSelectAction>().project = L"P1";
    handler.currentJobHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"releaseJob"}), IsEmpty());
}

TEST_F(WalkActions, AQuicktestActionPreparesUnlocksAndRuns) {
    auto& action = add<Config::CfxQuicktestAction>();
    action.items = {L"ENGINE"};
    action.targets = {{L"BRAKES", true}};
    action.unlock = {{L"U", L"p"}};
    handler.currentJobHandle = 41;
    api->unlockHandle = 42;

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(),
                ElementsAre("setTargetFilters(BRAKES=on)", "getTargets()",
                            "openUnlockSession(U, p)", "setServerStatus(Running quicktest action)",
                            "performQuickTest()", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobHandle, 42U);
}

TEST_F(WalkActions, AQuicktestActionWithoutReportWritesNone) {
    add<Config::CfxQuicktestAction>().reportName = L"Initial";

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"createVehicleReport"}), IsEmpty());
}

TEST_F(WalkActions, AQuicktestActionWithReportHandsNameAndConfigurationOn) {
    auto& action = add<Config::CfxQuicktestAction>();
    action.reportName = L"Initial";
    action.vehicleReport.emplace();
    action.vehicleReport->services = {L"IdentValues", L"CurrentDtcs"};

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("createVehicleReport(Initial)"), 1U);
    ASSERT_TRUE(api->vehicleReportConfig);
    EXPECT_EQ(api->vehicleReportConfig->serviceMask, 3U);
}

TEST_F(WalkActions, AFailedQuicktestAfterSuccessesFailsTheScript) {
    addExecute(L"One");
    add<Config::CfxQuicktestAction>();
    api->throwIn("performQuickTest", L"gone", 3);

    EXPECT_FALSE(walk());
}

TEST_F(WalkActions, AQuicktestAfterAFailureIsNeverReached) {
    addExecute(L"One");
    add<Config::CfxQuicktestAction>();
    api->throwIn("executeService", L"gone", 3);

    EXPECT_FALSE(walk());

    EXPECT_THAT(api->callsOf({"performQuickTest"}), IsEmpty());
}

TEST_F(WalkActions, AFlashingActionPreparesFilesThenTargetsThenUnlocksAndRuns) {
    auto& action = add<Config::CfxFlashingAction>();
    action.items = {L"Item"};
    action.targets = {{L"ENGINE", false}};
    action.unlock = {{L"U", L"p"}};
    handler.currentJobHandle = 41;
    api->unlockHandle = 42;
    putIntoFlashFolder({L"/d/a.zip", L"/d/notes.txt"});

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(),
                ElementsAre("getDataFolders(1)", "prepareUpdatePackages(/d/a.zip)",
                            "setTargetFilters(ENGINE=off)", "getTargets()",
                            "openUnlockSession(U, p)", "setServerStatus(Running flashing action)",
                            "getFlashInfo(Item)", "getFlashSessions(, )",
                            "executeFlashSessions(Item, 0)", "setServerStatus(Idle)"));
    EXPECT_EQ(handler.currentJobHandle, 42U);
}

TEST_F(WalkActions, AFlashingActionWithOnlyOtherFilesInTheFlashFolderStillRuns) {
    add<Config::CfxFlashingAction>().items = {L"Item"};
    putIntoFlashFolder({L"/d/notes.txt"});

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("executeFlashSessions(Item, 0)"), 1U);
    EXPECT_THAT(api->callsOf({"prepareUpdatePackages"}), IsEmpty());
}

TEST_F(WalkActions, AFlashingActionWithoutFlashFolderStillRuns) {
    add<Config::CfxFlashingAction>().items = {L"Item"};

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("executeFlashSessions(Item, 0)"), 1U);
    EXPECT_THAT(api->callsOf({"prepareUpdatePackages"}), IsEmpty());
}

TEST_F(WalkActions, AnUnlockActionOpensASessionWhenNoneIsHeld) {
    add<Config::CfxUnlockAction>().unlock = {{L"U", L"p"}};
    api->unlockHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(), ElementsAre("openUnlockSession(U, p)"));
    EXPECT_EQ(handler.currentJobHandle, 41U);
}

TEST_F(WalkActions, AnUnlockActionDoesNothingWhileASessionIsHeld) {
    add<Config::CfxUnlockAction>().unlock = {{L"U", L"p"}};
    handler.currentJobHandle = 41;

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(WalkActions, AnUnlockActionWithoutDescriptionDoesNothing) {
    add<Config::CfxUnlockAction>();

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(WalkActions, AFailedUnlockKeepsNeitherQuicktestNorFlashingFromRunning) {
    add<Config::CfxQuicktestAction>().unlock = {{L"U", L"p"}};
    auto& flashing = add<Config::CfxFlashingAction>();
    flashing.items = {L"Item"};
    flashing.unlock = {{L"U", L"p"}};
    handler.currentJobHandle = 41;
    api->throwIn("openUnlockSession", L"refused", 9);

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("openUnlockSession(U, p)"), 2U);
    EXPECT_THAT(api->callsOf({"performQuickTest", "executeFlashSessions"}),
                ElementsAre("performQuickTest()", "executeFlashSessions(Item, 0)"));
    EXPECT_EQ(handler.currentJobHandle, 41U);
}

TEST_F(WalkActions, AQuicktestActionHandsOnTargetsMasksAndReportType) {
    auto& action = add<Config::CfxQuicktestAction>();
    action.items = {L"ENGINE", L"ENGINE"};
    action.dtcStatus = {L"TestFailed", L"ConfirmedDTC"};
    action.vehicleReport.emplace().reportType = L"HTML";

    EXPECT_TRUE(walk());

    ASSERT_TRUE(api->quicktestConfig && api->dtcReadConfig && api->vehicleReportConfig);
    const QuicktestSettings expected = quicktestSettings(*api, action);
    EXPECT_EQ(api->quicktestConfig->targets, expected.quicktest->targets);
    EXPECT_EQ(api->dtcReadConfig->statusMask, expected.dtcRead->statusMask);
    EXPECT_NE(api->dtcReadConfig->statusMask, 0U);
    EXPECT_EQ(api->vehicleReportConfig->reportTypes, expected.report->reportTypes);
}

TEST_F(WalkActions, AFlashingActionRunsItsItemsThenTheControlUnitsOfItsTargets) {
    auto& action = add<Config::CfxFlashingAction>();
    action.items = {L"Item"};
    action.targets = {{L"ENGINE", true}};
    const auto entry = std::make_shared<Kel_cpp::TargetEntry>();
    entry->kind = 1;
    entry->name = L"ENGINE";
    api->targets.push_back(entry);

    EXPECT_TRUE(walk());

    EXPECT_THAT(api->callsOf({"executeFlashSessions"}),
                ElementsAre("executeFlashSessions(Item, 0)", "executeFlashSessions(ENGINE, 0)"));
}

TEST_F(WalkActions, AFailedUnlockDoesNotFailTheScript) {
    add<Config::CfxUnlockAction>().unlock = {{L"U", L"p"}};
    addExecute(L"One");
    api->throwIn("openUnlockSession", L"refused", 9);

    EXPECT_TRUE(walk());

    EXPECT_EQ(api->count("executeService(#OTX, One)"), 1U);
}

} // namespace Quarlen::Tests

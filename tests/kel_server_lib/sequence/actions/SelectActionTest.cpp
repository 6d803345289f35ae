#include "kel_server_lib/sequence/actions/SelectAction.hpp"

#include <thread>

#include "tests/kel_server_lib/sequence/actions/ActionFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class SelectAction : public ActionFixture {
protected:
    SelectAction() { handler.currentJobId = 5; }

    bool run(const std::wstring& project) {
        return runSelectAction(handler, api, project, L"VIT_A", true);
    }
    void stopDuring(const std::string& call) {
        api->during(call, [this] { handler.raiseStop(); });
    }
};

TEST_F(SelectAction, SelectsProjectAndVehicleInformationAndConnects) {
    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Selecting project P1)", "selectProject(P1)",
                            "setServerStatus(Project P1 selected.)",
                            "selectVehicleInformation(VIT_A)", "connectVehicle()",
                            "setServerStatus(Idle)"));
}

TEST_F(SelectAction, IdentifiesTheVehicleWithoutAutoConnect) {
    EXPECT_TRUE(runSelectAction(handler, api, L"P1", L"VIT_A", false));

    EXPECT_THAT(api->callsOf({"connectVehicle", "identifyVehicle"}),
                ElementsAre("identifyVehicle(0)"));
}

TEST_F(SelectAction, DeselectsWhenTheProjectIsEmpty) {
    EXPECT_TRUE(run(L""));

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Selecting project )", "selectProject()",
                                          "setServerStatus(Idle)"));
}

TEST_F(SelectAction, TakesTheKeywordInOtherLetterCaseForAProjectName) {
    EXPECT_TRUE(run(L"Auto_Select"));

    EXPECT_EQ(api->calls().at(1), "selectProject(Auto_Select)");
    EXPECT_THAT(api->callsOf({"executeServiceSync"}), IsEmpty());
}

TEST_F(SelectAction, OnlyGoesIdleWhenAStopIsRaisedBefore) {
    handler.stopRequested = true;

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Idle)"));
}

TEST_F(SelectAction, EndsAfterTheProjectWhenAStopIsRaisedThere) {
    stopDuring("selectProject(P1)");

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Selecting project P1)",
                                          "selectProject(P1)", "setServerStatus(Idle)"));
}

TEST_F(SelectAction, DoesNotConnectWhenAStopIsRaisedBeforeThat) {
    stopDuring("selectVehicleInformation");

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(api->callsOf({"connectVehicle"}), IsEmpty());
}

TEST_F(SelectAction, AFailureOfSelectProjectIsToldOnceAndEndsTheAction) {
    handler.currentJobId = 7;
    api->throwIn("selectProject", L"no such project", 404);

    EXPECT_FALSE(run(L"P1"));

    EXPECT_EQ(printed(), "Exception caught: no such project code: 404\n");
    EXPECT_EQ(handler.currentJobId, 0U);
    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Selecting project P1)",
                                        "setServerStatus(Exception caught: no such project)"));
}

TEST_F(SelectAction, TracesItsBeginningAndEnd) {
    const TraceCapture traces;

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSelectAction", L"<- runSelectAction"));
}

TEST_F(SelectAction, SelectsAnEmptyVehicleInformationToo) {
    EXPECT_TRUE(runSelectAction(handler, api, L"P1", L"", true));

    EXPECT_THAT(api->callsOf({"selectVehicleInformation", "connectVehicle"}),
                ElementsAre("selectVehicleInformation()", "connectVehicle()"));
}

TEST_F(SelectAction, TakesTextsAroundTheKeywordForAProjectName) {
    EXPECT_TRUE(run(L"AUTO_SELECT "));
    EXPECT_TRUE(run(L"AUTO_SELEC"));

    EXPECT_THAT(api->callsOf({"selectProject"}),
                ElementsAre("selectProject(AUTO_SELECT )", "selectProject(AUTO_SELEC)"));
}

TEST_F(SelectAction, LeavesTheJobFieldAlone) {
    EXPECT_TRUE(run(L"P1"));

    EXPECT_EQ(handler.currentJobId, 5U);
}

TEST_F(SelectAction, DoesNotLookAtTheStopBetweenAStatusAndItsCall) {
    stopDuring("setServerStatus(Selecting project P1)");

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Selecting project P1)",
                                          "selectProject(P1)", "setServerStatus(Idle)"));
}

TEST_F(SelectAction, SelectsTheVehicleInformationThoughAStopIsRaisedAtTheStatusBefore) {
    stopDuring("setServerStatus(Project P1 selected.)");

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(api->calls(),
                ElementsAre("setServerStatus(Selecting project P1)", "selectProject(P1)",
                            "setServerStatus(Project P1 selected.)",
                            "selectVehicleInformation(VIT_A)", "setServerStatus(Idle)"));
}

TEST_F(SelectAction, TracesItsBeginningAlsoWhenAStopIsRaisedBefore) {
    handler.raiseStop();
    const TraceCapture traces;

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSelectAction", L"<- runSelectAction"));
}

TEST_F(SelectAction, HoldsTheFacadeWhileItRunsAndReleasesIt) {
    long holders = 0;
    api->during("setServerStatus(Idle)", [&] { holders = api.use_count(); });

    EXPECT_TRUE(run(L"P1"));

    EXPECT_EQ(holders, 2);
    EXPECT_EQ(api.use_count(), 1);
}

TEST_F(SelectAction, DeselectsWhereAStopFromElsewhereComesWhileItConnects) {
    api->during("connectVehicle()",
                [this] { std::jthread([this] { handler.raiseStop(); }).join(); });
    api->throwIn("selectProject()", L"refused", 1);

    EXPECT_TRUE(run(L"P1"));

    EXPECT_EQ(api->count("selectProject()"), 1U);
}

TEST_F(SelectAction, DeselectsNothingForAStopThatTheConnectRaisesItself) {
    stopDuring("connectVehicle()");

    EXPECT_TRUE(run(L"P1"));

    EXPECT_EQ(api->count("selectProject()"), 0U);
}

class SelectActionFailure : public FailingActionCall {
protected:
    bool run() { return runSelectAction(handler, api, L"P1", L"VIT_A", true); }
    bool runWithoutAutoConnect() { return runSelectAction(handler, api, L"P1", L"VIT_A", false); }
};

TEST_P(SelectActionFailure, OfTheRuntimeIsToldAndEndsTheAction) {
    expectToldAndFalse([this] { return run(); });
}

TEST_P(SelectActionFailure, OfAnotherKindPasses) {
    expectPassed([this] { return run(); });
}

INSTANTIATE_TEST_SUITE_P(EveryCall, SelectActionFailure,
                         testing::Values("setServerStatus(Selecting project P1)",
                                         "selectProject(P1)",
                                         "setServerStatus(Project P1 selected.)",
                                         "selectVehicleInformation(VIT_A)", "connectVehicle()",
                                         "setServerStatus(Idle)"));

class IdentifyFailure : public SelectActionFailure {};

TEST_P(IdentifyFailure, OfTheRuntimeIsToldAndEndsTheAction) {
    expectToldAndFalse([this] { return runWithoutAutoConnect(); });
}

TEST_P(IdentifyFailure, OfAnotherKindPasses) {
    expectPassed([this] { return runWithoutAutoConnect(); });
}

INSTANTIATE_TEST_SUITE_P(EveryCall, IdentifyFailure, testing::Values("identifyVehicle(0)"));

} // namespace Quarlen::Tests

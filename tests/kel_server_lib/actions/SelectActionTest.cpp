#include "kel_server_lib/actions/SelectAction.hpp"

#include "platform/TextEncoding.hpp"
#include "tests/kel_server_lib/SequenceFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class SelectAction : public SequenceFixture {
protected:
    bool run(const std::wstring& project) {
        return runSelectAction(handler, api, project, L"VIT_A", true);
    }

    /// The vehicle answers with these bytes behind the response header.
    void answerVin(const std::string& vin) {
        const auto response = std::make_shared<Kel_cpp::ServiceResponse>();
        response->data = {0x62, 0xF1, 0x90};
        response->data.insert(response->data.end(), vin.begin(), vin.end());
        const auto result = std::make_shared<Kel_cpp::ServiceResult>();
        result->responses = {response};
        api->syncServiceResults = {result};
    }

    Kel_cpp::ServiceResult& answer() { return *api->syncServiceResults.front(); }

    void addProject(const std::wstring& name) {
        api->projects.push_back(std::make_shared<Kel_cpp::ProjectEntry>());
        api->projects.back()->name = name;
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

TEST_F(SelectAction, ReadsTheVinThroughTheAuxiliaryProject) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_DEMO0000000042");

    EXPECT_TRUE(run(L"AUTO_SELECT"));

    EXPECT_THAT(
        api->calls(),
        ElementsAre(
            "selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)", "connectVehicle()",
            "executeServiceSync(UDS_CAN_D, HexService 22 F1 90)", "selectProject()",
            "getProjects()", "setServerStatus(Selecting project Car_DEMO0000000042)",
            "selectProject(Car_DEMO0000000042)",
            "setServerStatus(Project Car_DEMO0000000042 selected.)",
            "selectVehicleInformation(VIT_A)", "connectVehicle()", "setServerStatus(Idle)"));
}

TEST_F(SelectAction, SearchesForTheLastFourteenCharactersOfTheVin) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_WKL");
    addProject(L"Car_DEMO000000004");
    addProject(L"Old_DEMO0000000042_2");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"Old_DEMO0000000042_2");
}

TEST_F(SelectAction, TakesTheEarlierOfTwoMatchingProjects) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Z_DEMO0000000042");
    addProject(L"A_DEMO0000000042");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"Z_DEMO0000000042");
}

TEST_F(SelectAction, ComparesLetterCase) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_demo0000000042");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
}

TEST_F(SelectAction, TracesAVinThatNoProjectMatchesAsOneError) {
    for (const char* const vin : {"WKLDEMO0000000042", "WKLDE"}) {
        const TraceCapture traces;
        answerVin(vin);
        addProject(L"Car");

        EXPECT_EQ(autoSelectProject(handler, api, true), L"");

        ASSERT_EQ(traces.lines().size(), 1U);
        EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
        EXPECT_EQ(traces.lines()[0].text, L"no project matches the VIN " + Platform::fromUtf8(vin));
    }
}

TEST_F(SelectAction, TracesNoErrorForAProjectThatMatchesNorForAMissingVin) {
    const TraceCapture traces;
    addProject(L"Car_DEMO0000000042");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
    answerVin("WKLDEMO0000000042");
    EXPECT_NE(autoSelectProject(handler, api, true), L"");

    EXPECT_THAT(traces.lines(), IsEmpty());
}

TEST_F(SelectAction, AVinOfFiveCharactersSelectsNothing) {
    answerVin("WKLDE");
    addProject(L"DE");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
    EXPECT_THAT(api->callsOf({"getProjects"}), IsEmpty());
}

TEST_F(SelectAction, AVinOfSixCharactersIsSearchedFor) {
    answerVin("WKLDEM");
    addProject(L"x_DEM");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"x_DEM");
}

TEST_F(SelectAction, AVinThatIsNoTextSelectsNothing) {
    answerVin("WKL\xFF\xFEMO0000000042");
    addProject(L"Car");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
}

TEST_F(SelectAction, WithoutAVinAutoSelectDeselectsAndSucceeds) {
    EXPECT_TRUE(run(L"AUTO_SELECT"));

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Selecting project )", "setServerStatus(Idle)"));
}

TEST_F(SelectAction, ReadsTheVinUpToTheFirstZeroByte) {
    answerVin(std::string("WKL\0DEMO", 8));

    EXPECT_EQ(readVin(handler, api, true), "WKL");
}

TEST_F(SelectAction, HasNoVinWhenTheResponseIsOnlyItsHeader) {
    answerVin("");

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(SelectAction, HasNoVinWhenTheServiceFailed) {
    answerVin("WKLDEMO0000000042");
    answer().error = 1;

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(SelectAction, HasNoVinWhenSeveralResponsesCome) {
    answerVin("WKLDEMO0000000042");
    answer().responses.push_back(answer().responses.front());

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(SelectAction, HasNoVinWhenSeveralResultsCome) {
    answerVin("WKLDEMO0000000042");
    api->syncServiceResults.push_back(api->syncServiceResults.front());

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(SelectAction, HasNoVinWithoutAResponse) {
    answerVin("WKLDEMO0000000042");
    answer().responses.clear();

    EXPECT_EQ(readVin(handler, api, true), "");
}

TEST_F(SelectAction, IdentifiesForTheVinWithoutAutoConnect) {
    EXPECT_EQ(readVin(handler, api, false), "");

    EXPECT_THAT(api->calls(),
                ElementsAre("selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)",
                            "identifyVehicle(0)",
                            "executeServiceSync(UDS_CAN_D, HexService 22 F1 90)",
                            "selectProject()"));
}

TEST_F(SelectAction, DeselectsTheAuxiliaryProjectWhenAStopIsRaised) {
    stopDuring("selectVehicleInformation(DefaultVIT)");

    EXPECT_TRUE(run(L"AUTO_SELECT"));

    EXPECT_THAT(api->calls(),
                ElementsAre("selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)",
                            "selectProject()", "setServerStatus(Idle)"));
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

TEST_F(SelectAction, AFailureWhileTheVinIsReadEndsTheAction) {
    api->throwIn("executeServiceSync", L"no answer", 5);

    EXPECT_FALSE(run(L"AUTO_SELECT"));

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Exception caught: no answer)"));
    EXPECT_EQ(api.use_count(), 1);
}

TEST_F(SelectAction, TracesItsBeginningAndEnd) {
    const TraceCapture traces;

    EXPECT_TRUE(run(L"P1"));

    EXPECT_THAT(traces.texts(), ElementsAre(L"-> runSelectAction", L"<- runSelectAction"));
}

} // namespace Quarlen::Tests

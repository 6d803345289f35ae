#include <stdexcept>

#include "platform/TextEncoding.hpp"
#include "tests/kel_server_lib/sequence/actions/VinFixture.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class AutoSelect : public VinFixture {
protected:
    void addProject(const std::wstring& name) {
        api->projects.push_back(std::make_shared<Kel_cpp::ProjectEntry>());
        api->projects.back()->name = name;
    }
    bool run() { return runSelectAction(handler, api, L"AUTO_SELECT", L"VIT_A", true); }
};

TEST_F(AutoSelect, SearchesForTheLastFourteenCharactersOfTheVin) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_WKL");
    addProject(L"Car_DEMO000000004");
    addProject(L"Old_DEMO0000000042_2");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"Old_DEMO0000000042_2");
}

TEST_F(AutoSelect, TakesTheEarlierOfTwoMatchingProjects) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Z_DEMO0000000042");
    addProject(L"A_DEMO0000000042");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"Z_DEMO0000000042");
}

TEST_F(AutoSelect, SearchesForAllFourteenCharacters) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_EMO0000000042");
    addProject(L"Car_DEMO000000004");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
}

TEST_F(AutoSelect, AsksNothingWhenAStopIsRaisedBefore) {
    handler.raiseStop();

    EXPECT_TRUE(run());

    EXPECT_THAT(api->calls(), ElementsAre("setServerStatus(Idle)"));
}

TEST_F(AutoSelect, ComparesLetterCase) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_demo0000000042");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
}

TEST_F(AutoSelect, TracesAVinThatNoProjectMatchesAsOneError) {
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

TEST_F(AutoSelect, TracesNoErrorForAProjectThatMatchesNorForAMissingVin) {
    const TraceCapture traces;
    addProject(L"Car_DEMO0000000042");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
    answerVin("WKLDEMO0000000042");
    EXPECT_NE(autoSelectProject(handler, api, true), L"");

    EXPECT_THAT(traces.lines(), IsEmpty());
}

TEST_F(AutoSelect, AVinOfFiveCharactersSelectsNothing) {
    answerVin("WKLDE");
    addProject(L"DE");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
    EXPECT_THAT(api->callsOf({"getProjects"}), IsEmpty());
}

TEST_F(AutoSelect, AVinOfSixCharactersIsSearchedFor) {
    answerVin("WKLDEM");
    addProject(L"x_DEM");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"x_DEM");
}

TEST_F(AutoSelect, AVinThatIsNoTextSelectsNothing) {
    answerVin("WKL\xFF\xFEMO0000000042");
    addProject(L"Car");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
    EXPECT_THAT(api->callsOf({"getProjects"}), IsEmpty());
}

TEST_F(AutoSelect, ReadsTheVinThroughTheAuxiliaryProject) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_DEMO0000000042");

    EXPECT_TRUE(run());

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

TEST_F(AutoSelect, WithoutAVinAutoSelectDeselectsAndSucceeds) {
    EXPECT_TRUE(run());

    EXPECT_THAT(statuses(),
                ElementsAre("setServerStatus(Selecting project )", "setServerStatus(Idle)"));
}

TEST_F(AutoSelect, DeselectsTheAuxiliaryProjectWhenAStopIsRaised) {
    stopDuring("selectVehicleInformation(DefaultVIT)");

    EXPECT_TRUE(run());

    EXPECT_THAT(api->calls(),
                ElementsAre("selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)",
                            "selectProject()", "setServerStatus(Idle)"));
}

TEST_F(AutoSelect, AFailureWhileTheVinIsReadEndsTheAction) {
    api->throwIn("executeServiceSync", L"no answer", 5);

    EXPECT_FALSE(run());

    EXPECT_THAT(statuses(), ElementsAre("setServerStatus(Exception caught: no answer)"));
    EXPECT_EQ(api.use_count(), 1);
}

TEST_F(AutoSelect, CountsCharactersAndNotBytes) {
    answerVin("WK\xC3\x84"
              "DE");
    addProject(L"DE");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"");
}

TEST_F(AutoSelect, SearchesForCharactersBeyondAscii) {
    answerVin("WKLDE\xC3\x84");
    addProject(L"Car_DE\u00C4_1");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"Car_DE\u00C4_1");
}

TEST_F(AutoSelect, FindsAProjectWhoseNameBeginsWithTheKey) {
    answerVin("WKLDEMO0000000042");
    addProject(L"DEMO0000000042_Car");

    EXPECT_EQ(autoSelectProject(handler, api, true), L"DEMO0000000042_Car");
}

TEST_F(AutoSelect, DoesNotLookAtTheStopOnceTheVehicleIsAsked) {
    answerVin("WKLDEMO0000000042");
    stopDuring("executeServiceSync");

    EXPECT_TRUE(run());

    EXPECT_THAT(api->calls(),
                ElementsAre("selectProject(VIN_Reader)", "selectVehicleInformation(DefaultVIT)",
                            "connectVehicle()",
                            "executeServiceSync(UDS_CAN_D, HexService 22 F1 90)", "selectProject()",
                            "getProjects()", "setServerStatus(Idle)"));
}

TEST_F(AutoSelect, KeepsTheAuxiliaryProjectSelectedWhenAnExceptionPasses) {
    api->throwOtherIn("executeServiceSync", "other");

    EXPECT_THROW(run(), std::runtime_error);

    EXPECT_THAT(api->callsOf({"selectProject"}), ElementsAre("selectProject(VIN_Reader)"));
}

TEST_F(AutoSelect, KeepsTheAuxiliaryProjectSelectedWhenTheRuntimeFails) {
    api->throwIn("executeServiceSync", L"no answer", 5);

    EXPECT_FALSE(run());

    EXPECT_THAT(api->callsOf({"selectProject"}), ElementsAre("selectProject(VIN_Reader)"));
}

TEST_F(AutoSelect, IdentifiesTwiceWithoutAutoConnect) {
    answerVin("WKLDEMO0000000042");
    addProject(L"Car_DEMO0000000042");

    EXPECT_TRUE(runSelectAction(handler, api, L"AUTO_SELECT", L"VIT_A", false));

    EXPECT_THAT(api->callsOf({"connectVehicle", "identifyVehicle"}),
                ElementsAre("identifyVehicle(0)", "identifyVehicle(0)"));
}

class AutoSelectFailure : public FailingActionCall {
protected:
    AutoSelectFailure() {
        const auto response = std::make_shared<Kel_cpp::ServiceResponse>();
        response->data = {0x62, 0xF1, 0x90, 'W', 'K', 'L', 'D', 'E', 'M'};
        const auto result = std::make_shared<Kel_cpp::ServiceResult>();
        result->responses = {response};
        api->syncServiceResults = {result};
    }

    bool run() { return runSelectAction(handler, api, L"AUTO_SELECT", L"VIT_A", false); }
};

TEST_P(AutoSelectFailure, OfTheRuntimeIsToldAndEndsTheAction) {
    expectToldAndFalse([this] { return run(); });
}

TEST_P(AutoSelectFailure, OfAnotherKindPasses) {
    expectPassed([this] { return run(); });
}

INSTANTIATE_TEST_SUITE_P(EveryCall, AutoSelectFailure,
                         testing::Values("selectProject(VIN_Reader)",
                                         "selectVehicleInformation(DefaultVIT)",
                                         "identifyVehicle(0)",
                                         "executeServiceSync(UDS_CAN_D, HexService 22 F1 90)",
                                         "selectProject()", "getProjects()"));

} // namespace Quarlen::Tests

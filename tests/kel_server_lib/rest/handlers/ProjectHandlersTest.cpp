#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;

class ProjectHandlers : public HandlerFixture {
protected:
    ProjectHandlers() {
        api->projectDetails->vehicleInformations = {L"A", L"B"};
        addObject(L"X");
        addObject(L"Y");
        api->during("setServerSettings",
                    [this] { listing.push_back(api->serverSettings->optionOtxListing); });
    }

    void addObject(const std::wstring& name) {
        api->projectObjects.push_back(std::make_shared<Kel_cpp::ProjectObject>());
        api->projectObjects.back()->name = name;
    }

    /// The option at each `setServerSettings`.
    std::vector<bool> listing;
};

TEST_F(ProjectHandlers, ListsEveryItemUnderEveryVehicleInformation) {
    const HandlerReply reply = call("get/projects/P1/otx");

    EXPECT_THAT(reply, IsJson(R"({"otx":[{"name":"X","vehicleInformation":"A"},)"
                              R"({"name":"Y","vehicleInformation":"A"},)"
                              R"({"name":"X","vehicleInformation":"B"},)"
                              R"({"name":"Y","vehicleInformation":"B"}]})"));
    EXPECT_EQ(reply.status, HandlerReply::untouched);
}

TEST_F(ProjectHandlers, DrivesTheRuntimeThroughTheWholeSelectionCycle) {
    api->selectedProjectName = L"Other";

    call("get/projects/P1/otx");

    EXPECT_THAT(api->calls(), ElementsAre("getServerSettings()", "setServerSettings()",
                                          "getSelectedProjectName()", "selectProject()",
                                          "beginProjectSelection()", "selectProject(P1)",
                                          "getProjectDetails(P1)", "selectVehicleInformation(A)",
                                          "getProjectObjects(#OTX, , no context, 0)",
                                          "selectVehicleInformation(B)",
                                          "getProjectObjects(#OTX, , no context, 0)",
                                          "selectProject()", "setServerSettings()"));
}

TEST_F(ProjectHandlers, DeselectsNothingWhenNoProjectIsSelected) {
    call("get/projects/P1/otx");

    EXPECT_THAT(api->callsOf({"selectProject"}),
                ElementsAre("selectProject(P1)", "selectProject()"));
}

TEST_F(ProjectHandlers, LeavesNoProjectSelectedThatWasSelectedBefore) {
    api->selectedProjectName = L"P";

    call("get/projects/P1/otx");

    EXPECT_EQ(api->callsOf({"selectProject"}).back(), "selectProject()");
    EXPECT_EQ(api->count("selectProject(P)"), 0U);
}

TEST_F(ProjectHandlers, PutsTheListingOptionBack) {
    call("get/projects/P1/otx");
    api->serverSettings->optionOtxListing = true;
    call("get/projects/P1/otx");

    EXPECT_THAT(listing, ElementsAre(true, false, true, true));
}

TEST_F(ProjectHandlers, GivesAnEmptyListWithoutVehicleInformations) {
    api->projectDetails->vehicleInformations.clear();

    EXPECT_THAT(call("get/projects/P1/otx"), IsJson(R"({"otx":[]})"));
}

TEST_F(ProjectHandlers, GivesAnEmptyListWithoutItems) {
    api->projectObjects.clear();

    EXPECT_THAT(call("get/projects/P1/otx"), IsJson(R"({"otx":[]})"));
}

TEST_F(ProjectHandlers, AnswersAnUnknownProjectWithTheRuntimesErrorAndLeavesTheListingOn) {
    api->throwIn("getProjectDetails", L"unknown project", 404);

    EXPECT_THAT(call("get/projects/P9/otx"), IsError("404", "unknown project"));

    EXPECT_EQ(api->calls().back(), "getProjectDetails(P9)");
    EXPECT_TRUE(api->serverSettings->optionOtxListing);
}

TEST_F(ProjectHandlers, DiscardsWhatItHasListedWhenALaterStepFails) {
    api->throwIn("selectVehicleInformation(B)", L"gone", 7);

    EXPECT_THAT(call("get/projects/P1/otx"), IsError("7", "gone"));

    EXPECT_EQ(api->calls().back(), "selectVehicleInformation(B)");
    EXPECT_THAT(listing, ElementsAre(true));
}

TEST_F(ProjectHandlers, PassesAProjectNameWithNonAsciiCharactersOnUnchanged) {
    call("get/projects/Fahrzeug_\xC3\xBC\xF0\x9F\x9A\x97/otx");

    EXPECT_EQ(api->count("selectProject(Fahrzeug_\xC3\xBC\xF0\x9F\x9A\x97)"), 1U);
}

TEST_F(ProjectHandlers, GivesTheEmptyTextForANameThatDoesNotConvert) {
    api->projectDetails->vehicleInformations = {brokenText()};
    api->projectObjects.resize(1);
    api->projectObjects[0]->name = brokenText();

    EXPECT_THAT(call("get/projects/P1/otx"),
                IsJson(R"({"otx":[{"name":"","vehicleInformation":""}]})"));
}

TEST_F(ProjectHandlers, GivesNamesWithNonAsciiCharactersAsUtf8) {
    api->projectDetails->vehicleInformations = {L"\u00DC"};
    api->projectObjects.resize(1);

    api->projectObjects[0]->name = L"\u00E4";

    EXPECT_THAT(call("get/projects/P1/otx"),
                IsJson("{\"otx\":[{\"name\":\"\xC3\xA4\",\"vehicleInformation\":\"\xC3\x9C\"}]}"));
}

} // namespace

} // namespace Quarlen::Tests

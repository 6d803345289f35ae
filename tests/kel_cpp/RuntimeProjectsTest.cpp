#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

class RuntimeProjects : public RuntimeFixture {
protected:
    std::vector<std::wstring> procedures(const std::wstring& filter = L"") {
        RecordList<ProjectObject> objects;
        runtime->getProjectObjects(objects, L"#OTX", filter, nullptr, 0);
        return namesOf(objects);
    }

    template <class Named>
    static std::vector<std::wstring> namesOf(const RecordList<Named>& records) {
        std::vector<std::wstring> names;
        for (const auto& record : records) {
            names.push_back(record->name);
        }
        return names;
    }

    RecordList<DataFolder> dataFolders() {
        RecordList<DataFolder> folders{nullptr};
        runtime->getDataFolders(folders, 1);
        return folders;
    }
};

using Names = std::vector<std::wstring>;

} // namespace

TEST_F(RuntimeProjects, ListsTheProjectsInTheOrderOfTheirNames) {
    RecordList<ProjectEntry> projects;
    runtime->getProjects(projects);
    EXPECT_EQ(namesOf(projects), (Names{L"Car_DEMO0000000042", L"VIN_Reader"}));
}

TEST_F(RuntimeProjects, AWrongProjectFileIsAnErrorWithItsPlaceAndLeavesNothingSelected) {
    runtime->selectProject(L"VIN_Reader");
    folder.write("projects/Broken/project.xml", "<Project>\n<Wheel/></Project>");
    const auto error = errorOf([&] { runtime->selectProject(L"Broken"); });
    EXPECT_NE(error.find(L"project.xml:2:"), std::wstring::npos);
    EXPECT_EQ(runtime->getSelectedProjectName(), L"");
}

TEST_F(RuntimeProjects, ListsTheProceduresOfEachVehicleInformationInItsOrder) {
    const Names all{L"Otx_ReadIdent", L"Otx_ClearFaults", L"Otx_Slow", L"Otx_Fail"};
    runtime->beginProjectSelection();
    runtime->selectProject(L"Car_DEMO0000000042");
    const auto details = runtime->getProjectDetails(L"Car_DEMO0000000042");
    EXPECT_EQ(details->vehicleInformations, (Names{L"VIT_A", L"VIT_B"}));
    for (const auto& information : details->vehicleInformations) {
        runtime->selectVehicleInformation(information);
        EXPECT_EQ(procedures(), all);
    }
}

TEST_F(RuntimeProjects, AFilterIsAPartOfTheNamesThatAreWanted) {
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_A");
    EXPECT_EQ(procedures(L"Clear"), Names{L"Otx_ClearFaults"});
    EXPECT_EQ(procedures(L"clear"), Names{});
}

TEST_F(RuntimeProjects, ListsNoOtherKindOfObjects) {
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_A");
    RecordList<ProjectObject> objects;
    EXPECT_NE(errorOf([&] {
                  runtime->getProjectObjects(objects, L"#ODX", L"", nullptr, 0);
              }).find(L"\"#ODX\""),
              std::wstring::npos);
}

TEST_F(RuntimeProjects, ASelectionThatBeginsWithoutAProjectsFolderSaysSo) {
    std::filesystem::remove_all(folder.config() / "projects");
    EXPECT_NE(errorOf([&] { runtime->beginProjectSelection(); }).find(L"does not exist"),
              std::wstring::npos);
    RecordList<ProjectEntry> projects;
    runtime->getProjects(projects);
    EXPECT_TRUE(projects.empty());
}

TEST_F(RuntimeProjects, TargetsAreThoseOfTheSelectedVehicleInformation) {
    RecordList<TargetEntry> targets{nullptr};
    runtime->getTargets(targets);
    EXPECT_TRUE(targets.empty());
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_B");
    runtime->getTargets(targets);
    EXPECT_EQ(namesOf(targets), (Names{L"ENGINE", L"GATEWAY", L"CHASSIS"}));
    EXPECT_EQ(targets[2]->kind, 2);
}

TEST_F(RuntimeProjects, NullFiltersAreLeftOut) {
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_B");
    runtime->setTargetFilters({nullptr});
    RecordList<TargetEntry> targets;
    runtime->getTargets(targets);
    EXPECT_EQ(targets.size(), 3U);
}

TEST_F(RuntimeProjects, DataFoldersAndTheirFilesAreSorted) {
    folder.write("data/flashdata/b.pdx", "b");
    folder.write("data/flashdata/a.zip", "a");
    folder.write("data/flashdata/sub/c.zip", "c");
    folder.write("data/other/x", "x");
    folder.write("data/loose.file", "x");
    const auto folders = dataFolders();
    ASSERT_EQ(namesOf(folders), (Names{L"flashdata", L"other"}));
    ASSERT_EQ(folders[0]->files.size(), 2U);
    EXPECT_TRUE(folders[0]->files[0]->present);
    EXPECT_EQ(Platform::toPath(folders[0]->files[0]->path),
              folder.config() / "data" / "flashdata" / "a.zip");
}

TEST_F(RuntimeProjects, AMissingDataPathHasNoFolders) {
    std::filesystem::remove_all(folder.config() / "data");
    EXPECT_TRUE(dataFolders().empty());
}

TEST_F(RuntimeProjects, AFlashItemTellsItsTargetAndSessions) {
    runtime->selectProject(L"Car_DEMO0000000042");
    std::shared_ptr<FlashInfo> info;
    runtime->getFlashInfo(info, L"ENGINE");
    EXPECT_EQ(info->item, L"ENGINE");
    EXPECT_EQ(info->target, L"ENGINE");
    EXPECT_EQ(info->description, L"Engine control unit software");
    RecordList<FlashSession> sessions;
    runtime->getFlashSessions(sessions, info->item, info->target);
    EXPECT_EQ(namesOf(sessions), (Names{L"ENGINE_APP", L"ENGINE_DATA"}));
    EXPECT_NE(errorOf([&] { runtime->getFlashSessions(sessions, L"ENGINE", L"BRAKES"); }), L"");
}

} // namespace Quarlen::Kel_cpp::Tests

#include "kel_cpp/projects/ProjectStore.hpp"

#include <filesystem>

#include <gmock/gmock.h>

#include "platform/FileNames.hpp"
#include "tests/kel_cpp/settings/ExceptionMessage.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TestPaths.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class ProjectStore : public testing::Test {
protected:
    void addProject(const std::string& name, const std::string& text = "<Project/>") const {
        (void)folder.write(name + "/project.xml", text);
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ProjectStore, ListsFoldersWithAProjectFileInByteOrder) {
    // Not every file system tells "B" from "b".
    for (const auto* name : {"b", "C", "a", "\xC3\xA4", "z"})
        addProject(name);
    (void)folder.write("project.xml", "<Project/>");
    std::filesystem::create_directories(folder.path() / "empty");
    std::filesystem::create_directories(folder.path() / "odd" / "project.xml");

    EXPECT_THAT(listProjects(folder.path()), ElementsAre(L"C", L"a", L"b", L"z", L"\u00E4"));
}

/// Longer than the calls of some systems take without more ado.
TEST_F(ProjectStore, ListsAndReadsProjectsWhateverTheLengthOfTheFoldersPath) {
    const std::string deep = std::string(150, 'n') + "/" + std::string(150, 'm');
    addProject(deep + "/car");
    addProject(deep + "/truck");

    EXPECT_THAT(listProjects(folder.inside(deep)), ElementsAre(L"car", L"truck"));
    EXPECT_EQ(loadProject(folder.inside(deep), L"car")->name, L"car");
}

TEST_F(ProjectStore, ListsProjectsWhoseFileIsWrong) {
    addProject("broken", "<Project");

    EXPECT_THAT(listProjects(folder.path()), ElementsAre(L"broken"));
}

TEST_F(ProjectStore, HasNoProjectsWithoutAFolder) {
    const auto file = folder.write("file", "");

    EXPECT_THAT(listProjects(folder.path() / "none"), IsEmpty());
    EXPECT_THAT(listProjects(file), IsEmpty());
}

TEST_F(ProjectStore, NamesAFolderThatCannotBeRead) {
    const auto loop = folder.path() / "loop";
    if (!Quarlen::Tests::makeLink(loop, loop)) {
        GTEST_SKIP() << Quarlen::Tests::noLinks; // Windows keeps them to some users
    }

    EXPECT_THAT(messageOf([&] { (void)listProjects(loop); }),
                AllOf(HasSubstr("loop: cannot be read: "), Quarlen::Tests::EndsWithANumber()));
}

TEST_F(ProjectStore, LoadsAProjectByName) {
    addProject("Stra\xC3\x9F"
               "e",
               "<Project description='d'/>");

    const auto project = loadProject(folder.path(), L"Stra\u00DFe");

    EXPECT_EQ(project->name, L"Stra\u00DFe");
    EXPECT_EQ(project->description, L"d");
}

TEST_F(ProjectStore, DoesNotLoadAProjectByANameThatNoListHas) {
    addProject("car_demo");
    for (const wchar_t* const name : {L"car_demo...", L"car_demo.", L"car_demo ", L"car_demo:x"}) {
        EXPECT_THAT(
            messageOf([&] { (void)loadProject(folder.path(), name); }, ErrorCode::UnknownProject),
            HasSubstr("there is no project"));
    }
}

TEST_F(ProjectStore, ComparesNamesAsTheFileSystemDoesAndGivesTheNameOfTheList) {
    addProject("car_demo");
    const auto load = [&] { return loadProject(folder.path(), L"CAR_demo"); };
    if (Platform::isSameFileName("a", "A")) {
        EXPECT_EQ(load()->name, L"car_demo");
    } else {
        EXPECT_THAT(messageOf([&] { (void)load(); }, ErrorCode::UnknownProject),
                    HasSubstr("there is no project \"CAR_demo\""));
    }
}

TEST_F(ProjectStore, NamesTheFileOfAWrongProject) {
    addProject("broken", "<Project>\n<Foo/></Project>");

    EXPECT_THAT(messageOf([&] { (void)loadProject(folder.path(), L"broken"); }),
                HasSubstr("project.xml:2:1: unknown element \"Foo\""));
}

TEST_F(ProjectStore, NamesAnUnknownProjectAndItsFolder) {
    EXPECT_EQ(
        messageOf([&] { (void)loadProject(folder.path(), L"none"); }, ErrorCode::UnknownProject),
        "there is no project \"none\" in " + folder.path().string());
}

class ProjectNameThatLeavesTheFolder : public ProjectStore,
                                       public testing::WithParamInterface<std::wstring> {};

TEST_P(ProjectNameThatLeavesTheFolder, IsUnknown) {
    addProject("outside");
    addProject("projects/inside");
    (void)folder.write("projects/project.xml", "<Project/>");

    EXPECT_THAT(messageOf([&] { (void)loadProject(folder.path() / "projects", GetParam()); },
                          ErrorCode::UnknownProject),
                EndsWith((folder.path() / "projects").string()));
}

INSTANTIATE_TEST_SUITE_P(ProjectStore, ProjectNameThatLeavesTheFolder,
                         testing::Values(L"", L".", L"..", L"../outside", L"./inside", L"inside/",
                                         L"inside/../inside", L"/tmp",
                                         std::wstring(L"inside\0x", 8)));

TEST(ExampleProjects, AreAllRight) {
    const std::filesystem::path projects = Quarlen::Tests::examplesFolder() / "projects";

    EXPECT_THAT(listProjects(projects), ElementsAre(L"Car_DEMO0000000042", L"VIN_Reader"));
    for (const auto& name : listProjects(projects))
        EXPECT_NO_THROW((void)loadProject(projects, name));
}

TEST(ExampleProjects, OfferWhatTheExampleVehicleNeeds) {
    const std::filesystem::path projects = Quarlen::Tests::examplesFolder() / "projects";
    const auto reader = loadProject(projects, L"VIN_Reader");
    const auto car = loadProject(projects, L"Car_DEMO0000000042");

    EXPECT_EQ(reader->findVehicleInformation(L"DefaultVIT")->targets.at(0).link, L"UDS_CAN_D");
    EXPECT_EQ(car->findVehicleInformation(L"VIT_A")->targets.size(), 4U);
    EXPECT_EQ(car->findVehicleInformation(L"VIT_B")->targets.size(), 3U);
    EXPECT_THAT(car->findVehicleInformation(L"VIT_A")->procedures,
                ElementsAre(L"Otx_ReadIdent", L"Otx_ClearFaults", L"Otx_Slow", L"Otx_Fail"));
    EXPECT_EQ(car->findUnlock(L"UnlockGateway")->parameters.at(0).keyMask, 0x5A3C96E1U);
    EXPECT_EQ(car->findFlashItem(L"ENGINE")->sessions.size(), 2U);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests

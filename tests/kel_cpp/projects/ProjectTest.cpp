#include "kel_cpp/projects/Project.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

class ProjectLookUp : public testing::Test {
protected:
    ProjectLookUp() {
        project.vehicleInformations = {{L"VIT_A", {}, {}}, {L"VIT_B", {}, {}}};
        project.procedures = {{L"Otx_A", {}}, {L"Otx_B", {}}};
        project.unlocks = {{L"Unlock", L"LINK", {}}};
        project.flashItems = {{L"ENGINE", L"ENGINE", L"", 1, 0, {}}};
        project.dtcTexts = {{0x012345, L"broken"}};
    }

    Project project;
};

TEST_F(ProjectLookUp, FindsByExactName) {
    EXPECT_EQ(project.findVehicleInformation(L"VIT_B"), &project.vehicleInformations[1]);
    EXPECT_EQ(project.findProcedure(L"Otx_B"), &project.procedures[1]);
    EXPECT_EQ(project.findUnlock(L"Unlock"), &project.unlocks[0]);
    EXPECT_EQ(project.findFlashItem(L"ENGINE"), &project.flashItems[0]);
    EXPECT_EQ(project.dtcText(0x012345), L"broken");
}

TEST_F(ProjectLookUp, FindsNothingUnderOtherNames) {
    EXPECT_EQ(project.findVehicleInformation(L"vit_b"), nullptr);
    EXPECT_EQ(project.findProcedure(L"Otx_"), nullptr);
    EXPECT_EQ(project.findUnlock(L""), nullptr);
    EXPECT_EQ(project.findFlashItem(L"ENGINE "), nullptr);
    EXPECT_EQ(project.dtcText(0x012346), L"");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests

#include <filesystem>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/ConfigBase.hpp"
#include "config/ScriptObjects.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/TestPaths.hpp"

namespace Config::Tests {
namespace {

using testing::ElementsAre;

Ref<ConfigObject> loadExample(const std::string& name) {
    const auto config = createConfigBase();
    const std::filesystem::path file = Quarlen::Tests::examplesFolder() / "KelServerScripts" / name;
    EXPECT_TRUE(config->load(Quarlen::Platform::fromPath(file)))
        << Quarlen::Platform::toUtf8(config->errorText());
    return config->root();
}

const CfxKelServerScript& scriptOf(const Ref<ConfigObject>& root) {
    return dynamic_cast<const CfxKelServerScript&>(*root);
}

std::set<TypeId> typesOf(const CfxKelServerScript& script) {
    std::set<TypeId> types;
    for (const auto& action : script.actions) {
        types.insert(action->typeId());
    }
    return types;
}

TEST(ExampleScripts, DemoSelectsTheProjectByItselfAndConnects) {
    const auto root = loadExample("Demo.xml");

    ASSERT_EQ(scriptOf(root).actionCount(), 3U);
    const auto* select = as<CfxSelectAction>(scriptOf(root).action(0));
    ASSERT_NE(select, nullptr);
    EXPECT_EQ(select->project, L"AUTO_SELECT");
    EXPECT_EQ(select->vehicleInformation, L"VIT_A");
    EXPECT_TRUE(select->autoConnect);
}

TEST(ExampleScripts, DemoRunsAQuicktestWithReportAndAProcedure) {
    const auto root = loadExample("Demo.xml");

    const auto* quicktest = as<CfxQuicktestAction>(scriptOf(root).action(1));
    ASSERT_NE(quicktest, nullptr);
    EXPECT_THAT(quicktest->dtcStatus, ElementsAre(L"Confirmed", L"Pending", L"TestFailed"));
    ASSERT_TRUE(quicktest->vehicleReport.has_value());
    EXPECT_EQ(quicktest->vehicleReport->reportType, L"SWT_Initial");
    EXPECT_THAT(quicktest->vehicleReport->services, ElementsAre(L"IdentValues", L"CurrentDtcs"));
    const auto* execute = as<CfxExecuteAction>(scriptOf(root).action(2));
    ASSERT_NE(execute, nullptr);
    EXPECT_EQ(execute->command, L"Otx_ReadIdent");
}

TEST(ExampleScripts, FlashConnectsAndFlashesTheEngine) {
    const auto root = loadExample("Flash.xml");

    const auto* select = as<CfxSelectAction>(scriptOf(root).action(0));
    ASSERT_NE(select, nullptr);
    EXPECT_EQ(select->project, L"AUTO_SELECT");
    EXPECT_TRUE(select->autoConnect);
    const auto* flashing = as<CfxFlashingAction>(scriptOf(root).action(1));
    ASSERT_NE(flashing, nullptr);
    EXPECT_THAT(flashing->items, ElementsAre(L"ENGINE"));
}

TEST(ExampleScripts, ButtonDemoShowsItsResultOnTheLed) {
    const auto root = loadExample("ButtonDemo.xml");

    EXPECT_TRUE(scriptOf(root).resultLed);
    EXPECT_THAT(typesOf(scriptOf(root)),
                testing::UnorderedElementsAre(TypeId::SelectAction, TypeId::QuicktestAction));
}

TEST(ExampleScripts, AllActionsHoldsEveryKindOfAction) {
    const auto root = loadExample("AllActions.xml");

    EXPECT_THAT(typesOf(scriptOf(root)),
                testing::UnorderedElementsAre(TypeId::ExecuteAction, TypeId::SelectAction,
                                              TypeId::QuicktestAction, TypeId::FlashingAction,
                                              TypeId::UnlockAction));
}

TEST(ExampleScripts, HoldNoElementThatIsUnknown) {
    const std::filesystem::path folder = Quarlen::Tests::examplesFolder() / "KelServerScripts";
    std::size_t scripts = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const auto root = loadExample(entry.path().filename().string());
        EXPECT_FALSE(typesOf(scriptOf(root)).contains(TypeId::Unknown)) << entry.path();
        ++scripts;
    }
    EXPECT_GE(scripts, 5U);
}

} // namespace
} // namespace Config::Tests

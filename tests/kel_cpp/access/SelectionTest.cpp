#include "kel_cpp/access/Selection.hpp"

#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

std::shared_ptr<Project> makeProject() {
    constexpr auto unit = TargetEntry::controlUnitKind;
    auto project = std::make_shared<Project>();
    project->name = L"P";
    project->vehicleInformations = {
        {L"A", {{unit, L"ENGINE", L"L1"}, {2, L"CHASSIS", {}}, {unit, L"BRAKES", L"L2"}}, {}},
        {L"B", {{unit, L"ENGINE", L"L1"}}, {}}};
    project->unlocks = {{L"U", L"L3", {}}};
    project->procedures = {{L"X", {WaitStep{}, UdsStep{L"L4", {}, {}, false}}}};
    return project;
}

TargetFilter filterFor(const std::wstring& name, bool enabled) {
    TargetFilter filter;
    filter.name = name;
    filter.enabled = enabled;
    return filter;
}

class SelectionTest : public testing::Test {
protected:
    std::shared_ptr<VehicleAccess> newAccess() {
        return std::make_shared<VehicleAccess>(L"Fake", std::make_shared<FakeVehicle>(clock),
                                               clock);
    }
    std::shared_ptr<VehicleAccess> connectA() {
        selection.selectProject(makeProject());
        selection.selectInformation(L"A");
        auto access = newAccess();
        selection.attach(selection.current(), access);
        return access;
    }
    std::vector<std::wstring> targetNames() const {
        std::vector<std::wstring> names;
        for (const auto& target : selection.targets()) {
            names.push_back(target.name);
        }
        return names;
    }
    template <class Operation>
    static ErrorCode codeOf(Operation operation) {
        try {
            operation();
        } catch (const KelApiException& exception) {
            return static_cast<ErrorCode>(exception.code());
        }
        return ErrorCode{};
    }

    Quarlen::Tests::FakeClock clock;
    Selection selection;
};

} // namespace

TEST_F(SelectionTest, TellsWhichPartIsMissing) {
    EXPECT_EQ(codeOf([&] { static_cast<void>(selection.withProject()); }),
              ErrorCode::NoProjectSelected);
    selection.selectProject(makeProject());
    EXPECT_EQ(codeOf([&] { static_cast<void>(selection.withInformation()); }),
              ErrorCode::NoVehicleInformationSelected);
    selection.selectInformation(L"A");
    EXPECT_EQ(codeOf([&] { static_cast<void>(selection.withAccess()); }), ErrorCode::NotConnected);
}

TEST_F(SelectionTest, RefusesAVehicleInformationThatTheProjectDoesNotHave) {
    selection.selectProject(makeProject());
    EXPECT_EQ(codeOf([&] { selection.selectInformation(L"C"); }),
              ErrorCode::UnknownVehicleInformation);
}

TEST_F(SelectionTest, AnotherProjectClosesTheAccess) {
    const auto access = connectA();
    selection.selectProject(makeProject());
    EXPECT_TRUE(access->closing().stop_requested());
    EXPECT_EQ(selection.current().access, nullptr);
    EXPECT_EQ(selection.current().information, nullptr);
}

TEST_F(SelectionTest, AnotherVehicleInformationClosesTheAccessAndTheSameDoesNot) {
    const auto access = connectA();
    selection.selectInformation(L"A");
    EXPECT_FALSE(access->closing().stop_requested());
    selection.selectInformation(L"B");
    EXPECT_TRUE(access->closing().stop_requested());
}

TEST_F(SelectionTest, ANewAccessClosesTheFormerOne) {
    const auto former = connectA();
    const auto access = newAccess();
    selection.attach(selection.current(), access);
    EXPECT_TRUE(former->closing().stop_requested());
    EXPECT_FALSE(access->closing().stop_requested());
}

TEST_F(SelectionTest, TakesNoAccessForWhatIsNotSelectedAnyMore) {
    connectA();
    const SelectedVehicle before = selection.current();
    selection.deselect();
    const auto access = newAccess();
    EXPECT_EQ(codeOf([&] { selection.attach(before, access); }), ErrorCode::NotConnected);
    EXPECT_TRUE(access->closing().stop_requested());
    EXPECT_EQ(selection.current().access, nullptr);
}

TEST_F(SelectionTest, TakesNoAccessForAnotherVehicleInformationOfTheProject) {
    connectA();
    const SelectedVehicle before = selection.current();
    selection.selectInformation(L"B");
    const auto access = newAccess();
    EXPECT_EQ(codeOf([&] { selection.attach(before, access); }), ErrorCode::NotConnected);
    EXPECT_EQ(selection.current().access, nullptr);
}

TEST_F(SelectionTest, DetachingAFormerAccessKeepsTheCurrentOne) {
    const auto former = connectA();
    const auto access = newAccess();
    selection.attach(selection.current(), access);
    selection.detach(former);
    EXPECT_EQ(selection.current().access, access);
    selection.detach(access);
    EXPECT_EQ(selection.current().access, nullptr);
    EXPECT_TRUE(access->closing().stop_requested());
}

TEST_F(SelectionTest, HasNoTargetsWhileNothingIsSelected) {
    EXPECT_TRUE(selection.targets().empty());
}

TEST_F(SelectionTest, FiltersGoWithTheirProject) {
    connectA();
    selection.setFilters({filterFor(L"BRAKES", true), filterFor(L"ENGINE", false)});
    EXPECT_EQ(targetNames(), std::vector<std::wstring>{L"BRAKES"});
    selection.selectProject(makeProject());
    selection.selectInformation(L"A");
    EXPECT_EQ(targetNames(), (std::vector<std::wstring>{L"ENGINE", L"CHASSIS", L"BRAKES"}));
}

TEST_F(SelectionTest, AnEmptyFilterListLetsEverythingThrough) {
    connectA();
    selection.setFilters({filterFor(L"none", true)});
    EXPECT_TRUE(targetNames().empty());
    selection.setFilters({});
    EXPECT_EQ(targetNames().size(), 3U);
}

TEST_F(SelectionTest, OneEnabledFilterLetsOnlyTheNamesOfEnabledOnesThrough) {
    connectA();
    selection.setFilters({filterFor(L"CHASSIS", false), filterFor(L"BRAKES", true)});
    EXPECT_EQ(targetNames(), std::vector<std::wstring>{L"BRAKES"});
    selection.setFilters({filterFor(L"BRAKES", true), filterFor(L"ENGINE", true)});
    EXPECT_EQ(targetNames(), (std::vector<std::wstring>{L"ENGINE", L"BRAKES"}));
}

TEST_F(SelectionTest, DisabledFiltersAloneLetEverythingThroughButTheirNames) {
    connectA();
    selection.setFilters({filterFor(L"ENGINE", false)});
    EXPECT_EQ(targetNames(), (std::vector<std::wstring>{L"CHASSIS", L"BRAKES"}));
    selection.setFilters({filterFor(L"none", false)});
    EXPECT_EQ(targetNames().size(), 3U);
}

TEST_F(SelectionTest, ANameWithAnEnabledAndADisabledFilterPasses) {
    connectA();
    selection.setFilters({filterFor(L"ENGINE", false), filterFor(L"ENGINE", true)});
    EXPECT_EQ(targetNames(), std::vector<std::wstring>{L"ENGINE"});
}

TEST_F(SelectionTest, OnlyKindOneTargetsAreControlUnits) {
    const auto project = makeProject();
    const auto& information = project->vehicleInformations[0];
    EXPECT_EQ(controlUnits(information).size(), 2U);
    EXPECT_EQ(findControlUnit(information, L"CHASSIS"), nullptr);
    EXPECT_NE(findControlUnit(information, L"BRAKES"), nullptr);
}

TEST_F(SelectionTest, KnowsTheLinksOfTargetsUnlocksAndProcedures) {
    const auto project = makeProject();
    for (const auto* link : {L"L1", L"L2", L"L3", L"L4"}) {
        EXPECT_TRUE(knowsLink(*project, link));
    }
    EXPECT_FALSE(knowsLink(*project, L"L5"));
    EXPECT_FALSE(knowsLink(*project, L""));
}

} // namespace Quarlen::Kel_cpp::Tests

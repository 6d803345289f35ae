#include "kel_server_lib/sequence/actions/TargetList.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RecordingKelApi.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class TargetList : public testing::Test {
protected:
    void addTarget(std::int32_t kind, const std::wstring& name) {
        const auto entry = std::make_shared<Kel_cpp::TargetEntry>();
        entry->kind = kind;
        entry->name = name;
        api.targets.push_back(entry);
    }

    RecordingKelApi api;
};

TEST_F(TargetList, IsTheActionsOwnItemsWhenItListsNoTargets) {
    const auto names = targetList(api, {L"A", L"B"}, {});

    EXPECT_THAT(names, ElementsAre(L"A", L"B"));
    EXPECT_THAT(api.calls(), IsEmpty());
}

TEST_F(TargetList, AsksTheRuntimeWithTheTargetsAsFilters) {
    targetList(api, {}, {{L"ENGINE", true}, {L"BRAKES", false}});

    EXPECT_THAT(api.calls(),
                ElementsAre("setTargetFilters(ENGINE=on, BRAKES=off)", "getTargets()"));
}

TEST_F(TargetList, AppendsTheControlUnitsInTheOrderReturned) {
    addTarget(1, L"ENGINE");
    addTarget(1, L"BRAKES");

    const auto names = targetList(api, {L"A"}, {{L"ENGINE", true}});

    EXPECT_THAT(names, ElementsAre(L"A", L"ENGINE", L"BRAKES"));
}

TEST_F(TargetList, KeepsRepetitions) {
    addTarget(1, L"ENGINE");
    addTarget(1, L"ENGINE");

    const auto names = targetList(api, {L"ENGINE", L"ENGINE"}, {{L"BRAKES", true}});

    EXPECT_THAT(names, ElementsAre(L"ENGINE", L"ENGINE", L"ENGINE", L"ENGINE"));
}

TEST_F(TargetList, KeepsRepetitionsOfItsOwnItemsWithoutTargets) {
    EXPECT_THAT(targetList(api, {L"A", L"A"}, {}), ElementsAre(L"A", L"A"));
}

TEST_F(TargetList, SetsAFilterForEachEntryAlsoForARepeatedOne) {
    targetList(api, {}, {{L"ENGINE", true}, {L"ENGINE", false}});

    EXPECT_EQ(api.calls().front(), "setTargetFilters(ENGINE=on, ENGINE=off)");
}

TEST_F(TargetList, KeepsEntriesWithoutAName) {
    addTarget(1, L"");

    EXPECT_THAT(targetList(api, {L""}, {{L"", true}}), ElementsAre(L"", L""));

    EXPECT_EQ(api.calls().front(), "setTargetFilters(=on)");
}

TEST_F(TargetList, SkipsTargetsOfOtherKinds) {
    addTarget(0, L"GROUP");
    addTarget(1, L"ENGINE");
    addTarget(2, L"VIRTUAL");
    addTarget(3, L"OTHER");
    addTarget(-1, L"NEGATIVE");

    const auto names = targetList(api, {}, {{L"ENGINE", true}});

    EXPECT_THAT(names, ElementsAre(L"ENGINE"));
}

} // namespace Quarlen::Tests

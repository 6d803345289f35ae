#include "platform/TextEncoding.hpp"
#include "tests/kel_server_lib/rest/handlers/HandlerFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Interfaces as text: groups in brackets, an entry that is on with "+", one that is off with "-".
class SimulationHandlers : public HandlerFixture {
protected:
    using Entries = std::vector<std::pair<std::wstring, bool>>;

    void addGroup(const Entries& entries) {
        auto group = std::make_shared<Kel_cpp::InterfaceGroup>();
        for (const auto& [name, enabled] : entries) {
            group->interfaces.push_back(std::make_shared<Kel_cpp::InterfaceEntry>());
            group->interfaces.back()->name = name;
            group->interfaces.back()->enabled = enabled;
        }
        api->interfaceSettings->groups.push_back(group);
    }

    [[nodiscard]] std::string interfaces() const {
        std::string text;
        for (const auto& group : api->interfaceSettings->groups) {
            text += '[';
            for (const auto& entry : group->interfaces) {
                text += (entry->enabled ? "+" : "-") + Platform::toUtf8(entry->name);
            }
            text += ']';
        }
        return text;
    }

    std::string enabledReply() { return call("get/simulation").body; }
};

TEST_F(SimulationHandlers, TellsTheSimulationEntrysSwitch) {
    addGroup({{L"Real", false}, {L"Simulation", true}});

    const HandlerReply reply = call("get/simulation");

    EXPECT_THAT(reply, IsJson(R"({"enabled":true})"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(api->calls(), ElementsAre("getInterfaceSettings()"));
}

TEST_F(SimulationHandlers, TellsOffWithoutASimulationEntry) {
    addGroup({{L"Real", true}});

    EXPECT_EQ(enabledReply(), R"({"enabled":false})");
}

TEST_F(SimulationHandlers, LetsTheLastGroupDecide) {
    addGroup({{L"Simulation", true}});
    addGroup({{L"Simulation", false}});
    addGroup({{L"Real", true}});

    EXPECT_EQ(enabledReply(), R"({"enabled":false})");
}

TEST_F(SimulationHandlers, LetsTheFirstEntryOfAGroupSpeakForIt) {
    addGroup({{L"Simulation", true}, {L"Simulation", false}});

    EXPECT_EQ(enabledReply(), R"({"enabled":true})");
}

TEST_F(SimulationHandlers, TakesOnlyTheExactNameForTheSimulation) {
    addGroup({{L"simulation", true}, {L"Simulation ", true}, {L"Simulatio", true}});

    EXPECT_EQ(enabledReply(), R"({"enabled":false})");
}

TEST_F(SimulationHandlers, SwitchesTheSimulationOffAndTheNextRealInterfaceOn) {
    addGroup({{L"Simulation", true}, {L"Real", false}});

    EXPECT_THAT(call("put/simulation", R"({"enable":false})"), IsJson(R"({"status":"OK"})"));

    EXPECT_EQ(interfaces(), "[-Simulation+Real]");
}

TEST_F(SimulationHandlers, SwitchesOnTheFirstRealInterfaceAlsoInFrontOfTheSimulation) {
    addGroup({{L"R1", false}, {L"Simulation", true}, {L"R2", true}, {L"R3", false}});

    call("put/simulation", R"({"enable":false})");

    EXPECT_EQ(interfaces(), "[+R1-Simulation+R2-R3]");
}

TEST_F(SimulationHandlers, SwitchesNoFurtherRealInterfaceOnWhenTheFirstOneIsOnAlready) {
    addGroup({{L"Simulation", true}, {L"R1", true}, {L"R2", false}});

    call("put/simulation", R"({"enable":false})");

    EXPECT_EQ(interfaces(), "[-Simulation+R1-R2]");
}

TEST_F(SimulationHandlers, VisitsNoGroupBehindTheOneThatCompletesTheSwitchingOff) {
    addGroup({{L"R1", false}});
    addGroup({{L"Simulation", true}});
    addGroup({{L"Simulation", true}, {L"R2", false}});

    call("put/simulation", R"({"enable":false})");

    EXPECT_EQ(interfaces(), "[+R1][-Simulation][+Simulation-R2]");
}

TEST_F(SimulationHandlers, SwitchesOnTheFirstRealInterfaceOfAllWhenThereIsNoSimulationToSwitchOff) {
    addGroup({{L"R1", false}, {L"R2", false}});
    addGroup({{L"R3", false}, {L"R4", true}});

    call("put/simulation", R"({"enable":false})");

    EXPECT_EQ(interfaces(), "[+R1-R2][-R3+R4]");
}

TEST_F(SimulationHandlers, LooksForARealInterfaceInLaterGroupsToo) {
    addGroup({{L"Simulation", true}});
    addGroup({{L"R1", false}, {L"R2", false}});

    call("put/simulation", R"({"enable":false})");

    EXPECT_EQ(interfaces(), "[-Simulation][+R1-R2]");
}

TEST_F(SimulationHandlers, SwitchesEverySimulationEntryOfAVisitedGroupOff) {
    addGroup({{L"Simulation", true}, {L"R1", false}, {L"Simulation", true}});

    call("put/simulation", R"({"enable":false})");

    EXPECT_EQ(interfaces(), "[-Simulation+R1-Simulation]");
}

TEST_F(SimulationHandlers, SwitchesOnExclusivelyInAllGroups) {
    addGroup({{L"R1", true}, {L"Simulation", false}});
    addGroup({{L"Simulation", false}, {L"R2", true}});

    EXPECT_THAT(call("put/simulation", R"({"enable":true})"), IsJson(R"({"status":"OK"})"));

    EXPECT_EQ(interfaces(), "[-R1+Simulation][+Simulation-R2]");
}

TEST_F(SimulationHandlers, SwitchesEverythingOffWhenThereIsNoSimulationToSwitchOn) {
    addGroup({{L"R1", true}, {L"simulation", true}});

    EXPECT_THAT(call("put/simulation", R"({"enable":true})"), IsJson(R"({"status":"OK"})"));

    EXPECT_EQ(interfaces(), "[-R1-simulation]");
}

struct EnableValue {
    const char* json;
    const char* simulation;
};

class EnableMember : public SimulationHandlers, public testing::WithParamInterface<EnableValue> {};

TEST_P(EnableMember, CountsByItsTruthiness) {
    addGroup({{L"Simulation", GetParam().simulation[1] == '-'}});

    call("put/simulation", std::string(R"({"enable":)") + GetParam().json + "}");

    EXPECT_EQ(interfaces(), GetParam().simulation);
}

INSTANTIATE_TEST_SUITE_P(
    Values, EnableMember,
    testing::Values(EnableValue{"1", "[+Simulation]"}, EnableValue{"\"\"", "[-Simulation]"},
                    EnableValue{"\"no\"", "[+Simulation]"}, EnableValue{"0", "[-Simulation]"},
                    EnableValue{"null", "[-Simulation]"}, EnableValue{"[]", "[+Simulation]"},
                    EnableValue{"{}", "[+Simulation]"}, EnableValue{"-0.0", "[-Simulation]"},
                    EnableValue{"true", "[+Simulation]"}, EnableValue{"false", "[-Simulation]"},
                    EnableValue{"0.5", "[+Simulation]"}, EnableValue{"\"0\"", "[+Simulation]"}));

TEST_F(SimulationHandlers, WritesAndAppliesTheSettings) {
    const HandlerReply reply = call("put/simulation", R"({"enable":true})");

    EXPECT_EQ(reply.status, HandlerReply::untouched);
    EXPECT_THAT(api->calls(), ElementsAre("getInterfaceSettings()", "setInterfaceSettings()",
                                          "applyInterfaceSettings()"));
}

class FailingSimulation : public SimulationHandlers,
                          public testing::WithParamInterface<const char*> {};

TEST_P(FailingSimulation, GivesTheErrorReplyAndDoesNoMore) {
    api->throwIn(GetParam(), L"refused", 1);

    EXPECT_THAT(call("put/simulation", R"({"enable":true})"), IsError("1", "refused"));

    EXPECT_EQ(api->calls().back(), std::string(GetParam()) + "()");
}

INSTANTIATE_TEST_SUITE_P(Steps, FailingSimulation,
                         testing::Values("getInterfaceSettings", "setInterfaceSettings",
                                         "applyInterfaceSettings"));

TEST_F(SimulationHandlers, AnswersAFailingReadWithTheErrorReply) {
    api->throwIn("getInterfaceSettings", L"refused", 1);

    EXPECT_THAT(call("get/simulation"), IsError("1", "refused"));
}

TEST_F(SimulationHandlers, RefusesABodyThatIsNoJsonWithoutTouchingTheRuntime) {
    EXPECT_THAT(call("put/simulation", "{\"enable\""), IsBadRequest());

    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(SimulationHandlers, ThrowsAtTheReplysKeyInTheRequest) {
    EXPECT_FALSE(exceptionOf("put/simulation", R"({"enabled":true})").empty());
    EXPECT_THAT(exceptionOf("put/simulation", "true"), HasSubstr("type mismatch"));

    EXPECT_THAT(api->calls(), IsEmpty());
}

} // namespace

} // namespace Quarlen::Tests

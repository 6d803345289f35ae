#include "kel_cpp/access/VehicleInterfaces.hpp"

#include <chrono>

#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using std::chrono::milliseconds;
using Parameters = std::vector<InterfaceEntry::Parameter>;

/// In a group of its own.
void add(InterfaceSettings& settings, bool enabled, Parameters parameters) {
    auto entry = std::make_shared<InterfaceEntry>();
    entry->name = L"Simulation";
    entry->enabled = enabled;
    entry->parameters = std::move(parameters);
    settings.groups.push_back(std::make_shared<InterfaceGroup>());
    settings.groups.back()->interfaces.push_back(std::move(entry));
}

InterfaceSettings enabledWith(Parameters parameters) {
    InterfaceSettings settings;
    add(settings, true, std::move(parameters));
    return settings;
}

std::wstring refusalOf(const InterfaceEntry::Parameter& parameter) {
    try {
        static_cast<void>(VehicleInterfaces::timing(enabledWith({parameter})));
    } catch (const KelApiException& exception) {
        EXPECT_EQ(exception.code(), static_cast<std::int32_t>(ErrorCode::Configuration));
        return exception.message();
    }
    return {};
}

} // namespace

TEST(InterfaceTiming, IsTheUsualOneWithoutParametersAndWithoutAnInterface) {
    const Uds::Timing usual;
    for (const auto& settings : {InterfaceSettings(), enabledWith({{L"host", L"127.0.0.1"}})}) {
        const Uds::Timing timing = VehicleInterfaces::timing(settings);
        EXPECT_EQ(timing.p2, usual.p2);
        EXPECT_EQ(timing.p2Star, usual.p2Star);
        EXPECT_EQ(timing.delta, usual.delta);
    }
}

TEST(InterfaceTiming, IsWhatTheParametersSay) {
    const Uds::Timing timing = VehicleInterfaces::timing(
        enabledWith({{L"deltaP2", L"59999"}, {L"p2Star", L"0x10"}, {L"p2", L"60000"}}));
    EXPECT_EQ(timing.p2, milliseconds(60'000));
    EXPECT_EQ(timing.p2Star, milliseconds(16));
    EXPECT_EQ(timing.delta, milliseconds(59'999));
    EXPECT_EQ(timing.total, Uds::Timing().total);
}

TEST(InterfaceTiming, KeepsTheUsualTimeWhereOneParameterIsMissing) {
    const Uds::Timing timing = VehicleInterfaces::timing(enabledWith({{L"p2Star", L"600000"}}));
    EXPECT_EQ(timing.p2, Uds::Timing().p2);
    EXPECT_EQ(timing.p2Star, milliseconds(600'000));
}

TEST(InterfaceTiming, IsThatOfTheFirstInterfaceThatIsEnabled) {
    InterfaceSettings settings;
    add(settings, false, {{L"p2", L"1"}});
    add(settings, true, {{L"p2", L"2"}});
    add(settings, true, {{L"p2", L"3"}});
    EXPECT_EQ(VehicleInterfaces::timing(settings).p2, milliseconds(2));
}

TEST(InterfaceTiming, OfAWrongValueIsRefusedWithInterfaceParameterAndBounds) {
    EXPECT_EQ(refusalOf({L"p2", L"0"}), L"interface \"Simulation\": parameter \"p2\" is \"0\", "
                                        L"expected a number from 1 to 60000");
    EXPECT_EQ(refusalOf({L"p2", L"60001"}),
              L"interface \"Simulation\": parameter \"p2\" is \"60001\", expected a number from 1 "
              L"to 60000");
    EXPECT_EQ(refusalOf({L"p2Star", L"600001"}),
              L"interface \"Simulation\": parameter \"p2Star\" is \"600001\", expected a number "
              L"from 1 to 600000");
    EXPECT_EQ(refusalOf({L"p2Star", L"5 s"}),
              L"interface \"Simulation\": parameter \"p2Star\" is \"5 s\", expected a number from "
              L"1 to 600000");
    EXPECT_EQ(refusalOf({L"deltaP2", L"0"}), L"interface \"Simulation\": parameter \"deltaP2\" is "
                                             L"\"0\", expected a number from 1 to 60000");
}

} // namespace Quarlen::Kel_cpp::Tests

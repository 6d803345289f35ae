#include "kel_cpp/access/DoipParameters.hpp"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

InterfaceEntry entryWith(std::vector<InterfaceEntry::Parameter> parameters) {
    InterfaceEntry entry;
    entry.name = L"DoIP";
    entry.parameters = std::move(parameters);
    return entry;
}

std::wstring refusalOfDoip(const InterfaceEntry::Parameter& parameter) {
    try {
        static_cast<void>(doipSettings(entryWith({parameter})));
    } catch (const KelApiException& exception) {
        EXPECT_EQ(exception.code(), static_cast<std::int32_t>(ErrorCode::Configuration));
        return exception.message();
    }
    return {};
}

} // namespace

TEST(DoipParameters, AreTheStandardsWithoutAny) {
    const auto settings = doipSettings(entryWith({}));
    EXPECT_EQ(settings.host, "");
    EXPECT_EQ(settings.port, 13400);
    EXPECT_EQ(settings.tester, 0x0E80);
    EXPECT_EQ(settings.activation, 0x00);
    EXPECT_EQ(settings.vin, "");
    EXPECT_FALSE(settings.eid);
}

TEST(DoipParameters, SayWhereTheVehicleIsAndWhoAsks) {
    const auto settings = doipSettings(entryWith({{L"host", L"car.local"},
                                                  {L"port", L"13401"},
                                                  {L"testerAddress", L"0x0E81"},
                                                  {L"activation", L"0xE0"},
                                                  {L"vin", L"WKLDEMO0000000042"},
                                                  {L"eid", L"02:00:00:00:00:2a"}}));
    EXPECT_EQ(settings.host, "car.local");
    EXPECT_EQ(settings.port, 13401);
    EXPECT_EQ(settings.tester, 0x0E81);
    EXPECT_EQ(settings.activation, 0xE0);
    EXPECT_EQ(settings.vin, "WKLDEMO0000000042");
    EXPECT_EQ(settings.eid, (Doip::EntityId{2, 0, 0, 0, 0, 0x2A}));
}

TEST(DoipParameters, LetWhatIsOddInTheNetworkBeTraced) {
    const Quarlen::Tests::TraceCapture trace;
    doipSettings(entryWith({})).onNote(L"found 100 % of the vehicles");
    EXPECT_EQ(trace.count(L"found 100 % of the vehicles"), 1);
}

TEST(DoipParameters, ThatAreNoneAreNamed) {
    EXPECT_EQ(
        refusalOfDoip({L"port", L"0"}),
        L"interface \"DoIP\": parameter \"port\" is \"0\", expected a number from 1 to 65535");
    EXPECT_EQ(refusalOfDoip({L"testerAddress", L"0x0DFF"}),
              L"interface \"DoIP\": parameter \"testerAddress\" is \"0x0DFF\", expected a number "
              L"from 3584 to 4095");
    EXPECT_EQ(refusalOfDoip({L"activation", L"256"}),
              L"interface \"DoIP\": parameter \"activation\" is \"256\", expected a number from 0 "
              L"to 255");
    EXPECT_EQ(refusalOfDoip({L"vin", L"SHORT"}),
              L"interface \"DoIP\": parameter \"vin\" is \"SHORT\", expected 17 capital letters "
              L"and digits");
    EXPECT_EQ(refusalOfDoip({L"eid", L"02:00"}),
              L"interface \"DoIP\": parameter \"eid\" is \"02:00\", expected six pairs of "
              L"hexadecimal digits with colons between them");
}

} // namespace Quarlen::Kel_cpp::Tests

#include "tools/kelctl/dryrun/PlannedFault.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl::Tests {

using Quarlen::Tests::hex;
using Simulation::FaultDescription;
using Simulation::VehicleDescription;

namespace {

std::string failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::WrongUsage);
        return failure.what();
    }
    return {};
}

VehicleDescription twoUnits() {
    VehicleDescription vehicle;
    vehicle.controlUnits.resize(2);
    vehicle.controlUnits[0].name = L"ENGINE";
    vehicle.controlUnits[0].link = L"LINK_E";
    vehicle.controlUnits[1].name = L"LINK_E";
    vehicle.controlUnits[1].link = L"LINK_B";
    return vehicle;
}

std::vector<PlannedFault> planned(const std::vector<std::string>& texts) {
    std::vector<PlannedFault> faults;
    for (const std::string& text : texts) {
        faults.push_back(parsePlannedFault(text));
    }
    return faults;
}

} // namespace

TEST(PlannedFault, HasUnitRequestAndResponse) {
    const PlannedFault fault = parsePlannedFault("ENGINE:22 F1 90=7F 22 31");
    EXPECT_EQ(fault.text, "ENGINE:22 F1 90=7F 22 31");
    EXPECT_EQ(fault.unit, L"ENGINE");
    EXPECT_EQ(hex(fault.fault.request), "22 F1 90");
    EXPECT_EQ(hex(fault.fault.response), "7F 22 31");
    EXPECT_FALSE(fault.fault.linkLost);
    EXPECT_EQ(fault.fault.after, 0U);
    EXPECT_FALSE(fault.fault.times);
}

TEST(PlannedFault, TakesBytesWithoutBlanksAndInSmallLetters) {
    const PlannedFault fault = parsePlannedFault(" ENGINE : 22f190 = 7f2231 ");
    EXPECT_EQ(fault.unit, L"ENGINE");
    EXPECT_EQ(hex(fault.fault.request), "22 F1 90");
    EXPECT_EQ(hex(fault.fault.response), "7F 22 31");
}

TEST(PlannedFault, MayBeSilenceOrALostLink) {
    const FaultDescription silence = parsePlannedFault("E:22=").fault;
    EXPECT_TRUE(silence.response.empty());
    EXPECT_FALSE(silence.linkLost);
    EXPECT_TRUE(parsePlannedFault("E:22=lost").fault.linkLost);
}

TEST(PlannedFault, SaysHowOftenAndAfterHowManyNormalAnswers) {
    for (const char* const text :
         {"E:36=7F 36 72 x2 @15", "E:36=7F 36 72x2@15", "E:36=@15 7F 36 X2 72"}) {
        const FaultDescription fault = parsePlannedFault(text).fault;
        EXPECT_EQ(hex(fault.response), "7F 36 72") << text;
        EXPECT_EQ(fault.times, 2U) << text;
        EXPECT_EQ(fault.after, 15U) << text;
    }
    EXPECT_EQ(parsePlannedFault("E:36=lost x1").fault.times, 1U);
}

TEST(PlannedFault, MayHaveAColonInTheNameOfItsUnit) {
    EXPECT_EQ(parsePlannedFault("CAN:1=a:22=").unit, L"CAN:1=a");
}

struct Malformed {
    std::string text;
    std::string cause;
};

class MalformedFault : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedFault, SaysWhatIsWrong) {
    const std::string message = failureOf([] { (void)parsePlannedFault(GetParam().text); });
    EXPECT_NE(message.find("'" + GetParam().text + "'"), std::string::npos) << message;
    EXPECT_NE(message.find(GetParam().cause), std::string::npos) << message;
}

INSTANTIATE_TEST_SUITE_P(
    Fault, MalformedFault,
    testing::Values(Malformed{"ENGINE:22", "no '='"}, Malformed{"ENGINE=22", "no ':'"},
                    Malformed{" :22=", "no control unit"}, Malformed{"ENGINE:=7F", "no request"},
                    Malformed{"ENGINE:22 F=", "'F' is not made of bytes"},
                    Malformed{"ENGINE:22 0G=", "'0G' is not made of bytes"},
                    Malformed{"ENGINE:22=0x7F", "'0' is not made of bytes"},
                    Malformed{"ENGINE:22=x0", "'x0' needs a number from 1 on"},
                    Malformed{"ENGINE:22=x", "'x' needs a number"},
                    Malformed{"ENGINE:22=@-1", "'@-1' needs a number"},
                    Malformed{"ENGINE:22=@99999999999", "needs a number"},
                    Malformed{"ENGINE:22=x1x2", "'x2' is said twice"},
                    Malformed{"ENGINE:22=@1@2", "'@2' is said twice"},
                    Malformed{"ENGINE:22=7F lost", "a lost link gives no response"}));

TEST(PlannedFaults, GoToTheUnitOfThatNameElseToThatOfTheLink) {
    VehicleDescription vehicle = twoUnits();
    addFaults(vehicle, planned({"LINK_E:01=", "LINK_B:02=", "ENGINE:03="}));
    ASSERT_EQ(vehicle.controlUnits[0].faults.size(), 1U);
    EXPECT_EQ(hex(vehicle.controlUnits[0].faults[0].request), "03");
    ASSERT_EQ(vehicle.controlUnits[1].faults.size(), 2U);
    EXPECT_EQ(hex(vehicle.controlUnits[1].faults[0].request), "01");
    EXPECT_EQ(hex(vehicle.controlUnits[1].faults[1].request), "02");
}

TEST(PlannedFaults, ComeBeforeTheVehiclesOwnInTheirOrder) {
    VehicleDescription vehicle = twoUnits();
    vehicle.controlUnits[0].faults.push_back(parsePlannedFault("E:09=").fault);
    addFaults(vehicle, planned({"ENGINE:01=", "ENGINE:02="}));
    std::string order;
    for (const FaultDescription& fault : vehicle.controlUnits[0].faults) {
        order += hex(fault.request) + ";";
    }
    EXPECT_EQ(order, "01;02;09;");
}

TEST(PlannedFaults, NameAnUnknownUnitAndThoseThatThereAre) {
    VehicleDescription vehicle = twoUnits();
    const std::string message = failureOf([&] { addFaults(vehicle, planned({"MOTOR:22="})); });
    EXPECT_NE(message.find("'MOTOR'"), std::string::npos) << message;
    EXPECT_NE(message.find("it has: ENGINE, LINK_E"), std::string::npos) << message;
    VehicleDescription none;
    EXPECT_NE(failureOf([&] { addFaults(none, planned({"A:22="})); }).find("it has: none"),
              std::string::npos);
}

class WatchedFaults : public testing::Test {
protected:
    static FaultWatch watch(const std::vector<std::string>& texts) {
        return FaultWatch(twoUnits(), planned(texts));
    }
};

TEST_F(WatchedFaults, HappenOnTheirLinkOnly) {
    FaultWatch faults = watch({"ENGINE:22 F1=", "LINK_B:22 F1="});
    faults.request(L"LINK_E", hex("22 F1 90"));
    faults.request(L"LINK_X", hex("22 F1 90"));
    EXPECT_EQ(faults.neverHappened(), std::vector<std::string>{"LINK_B:22 F1="});
}

TEST_F(WatchedFaults, HaveNotHappenedBeforeTheirTime) {
    FaultWatch faults = watch({"ENGINE:22=@2"});
    faults.request(L"LINK_E", hex("22 F1 90"));
    faults.request(L"LINK_E", hex("31 01"));
    faults.request(L"LINK_E", hex("22 F1 90"));
    EXPECT_EQ(faults.neverHappened().size(), 1U);
    faults.request(L"LINK_E", hex("22 F1 90"));
    EXPECT_TRUE(faults.neverHappened().empty());
}

TEST_F(WatchedFaults, DoNotHappenBehindAnEarlierOneForTheSameRequest) {
    FaultWatch faults = watch({"ENGINE:22=x1", "ENGINE:22 F1="});
    faults.request(L"LINK_E", hex("22 F1 90"));
    EXPECT_EQ(faults.neverHappened(), std::vector<std::string>{"ENGINE:22 F1="});
    faults.request(L"LINK_E", hex("22 F1 90"));
    EXPECT_TRUE(faults.neverHappened().empty());
}

} // namespace Quarlen::Ctl::Tests

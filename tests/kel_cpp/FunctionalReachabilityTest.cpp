#include <algorithm>
#include <string>

#include "tests/kel_cpp/RuntimeFixture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// A project of a hundred control units, and a vehicle that has them all, but most of them are
/// silent.
class FunctionalReachability : public RuntimeFixture,
                               public testing::WithParamInterface<std::string> {
protected:
    static constexpr int known = 100;
    static constexpr int fitted = 20;

    void SetUp() override {
        std::string targets;
        std::string units;
        for (int number = 1; number <= known; ++number) {
            const std::string text = std::to_string(number);
            targets += "<Target name=\"U" + text + "\" link=\"L" + text + "\" " + GetParam() + "/>";
            // Those at the end answer: nobody is found by being asked first.
            const bool isFitted = number > known - fitted;
            units += "<ControlUnit name=\"U" + text + "\" link=\"L" + text + "\" address=\"" +
                     text + "\" responseDelay=\"40\">" + (isFitted ? answering : silent) +
                     "</ControlUnit>";
        }
        folder.write("projects/Many/project.xml", "<Project><VehicleInformation name=\"V\">" +
                                                      targets + "</VehicleInformation></Project>");
        folder.write("vehicle.xml", "<Vehicle vin=\"WKL1\">" + units + "</Vehicle>");
        restart();
        runtime->selectProject(L"Many");
        runtime->selectVehicleInformation(L"V");
    }

    static constexpr const char* answering = "<DataIdentifier id=\"0xF190\" vin=\"true\"/>";
    static constexpr const char* silent =
        R"(<Fault request="3E"/><Fault request="22"/><Fault request="10"/>)";
};

TEST_P(FunctionalReachability, OfAHundredControlUnitsIsToldInLessThanThreeSeconds) {
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    const auto begin = clock.now();
    runtime->identifyVehicle(targets, 0, identification);
    EXPECT_LT(clock.now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(std::count_if(targets.begin(), targets.end(),
                            [](const auto& target) { return target->reachable; }),
              fitted);
    EXPECT_EQ(identification->vin, L"WKL1");
}

INSTANTIATE_TEST_SUITE_P(Address, FunctionalReachability,
                         testing::Values("", "functionalAddress=\"0xE400\""));

} // namespace

} // namespace Quarlen::Kel_cpp::Tests

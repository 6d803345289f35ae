#include <cstddef>

#include "simulation/SimulatedVehicle.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using std::chrono::seconds;

/// A project that knows a hundred control units, and a vehicle that has twenty of them. Of the
/// others every second one has a link, on which nobody answers.
class RuntimeReachability : public RuntimeFixture {
protected:
    static constexpr std::size_t known = 100;
    static constexpr std::size_t fitted = 20;

    void SetUp() override {
        std::string targets;
        for (std::size_t number = 0; number < known; ++number) {
            const std::string text = std::to_string(number);
            targets += "<Target kind='1' name='U" + text + "' link='L" + text + "'/>";
        }
        folder.write("projects/Large/project.xml", "<Project><VehicleInformation name='V'>" +
                                                       targets + "</VehicleInformation></Project>");
        RuntimeEnvironment environment{folder.config(), folder.base(), clock};
        environment.openVehicle = [](const std::filesystem::path& /*file*/, Platform::Clock& used) {
            return Simulation::SimulatedVehicle(vehicle(), used);
        };
        runtime = std::make_shared<Runtime>(environment);
        runtime->initialize();
        runtime->selectProject(L"Large");
        runtime->selectVehicleInformation(L"V");
    }

    /// Those that answer are the last ones.
    static Simulation::VehicleDescription vehicle() {
        Simulation::VehicleDescription vehicle;
        for (std::size_t number = 0; number < known; ++number) {
            const bool answers = number >= known - fitted;
            if (!answers && number % 2 == 0) {
                continue;
            }
            Simulation::ControlUnitDescription unit;
            unit.name = L"U" + std::to_wstring(number);
            unit.link = L"L" + std::to_wstring(number);
            unit.address = static_cast<std::uint16_t>(number);
            unit.dataIdentifiers = {{0xF190, {'V', 'I', 'N'}, false, {}}};
            if (!answers) {
                unit.faults = {{{}, {}, false, 0, {}}};
            }
            vehicle.controlUnits.push_back(std::move(unit));
        }
        return vehicle;
    }

    template <class Operation>
    Platform::Clock::TimePoint::duration timeOf(Operation operation) {
        const auto begin = clock.now();
        operation();
        return clock.now() - begin;
    }
};

} // namespace

TEST_F(RuntimeReachability, IsKnownAfterTheTimeOfOneSilentControlUnit) {
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    const auto taken = timeOf([&] { runtime->identifyVehicle(targets, 0, identification); });
    EXPECT_LT(taken, seconds(3));
    ASSERT_EQ(targets.size(), known);
    for (std::size_t number = 0; number < known; ++number) {
        EXPECT_EQ(targets[number]->reachable, number >= known - fitted) << number;
    }
    EXPECT_EQ(identification->vin, L"VIN");
}

TEST_F(RuntimeReachability, TakesNoLongerForAConnection) {
    EXPECT_LT(timeOf([&] { runtime->connectVehicle(); }), seconds(3));
    EXPECT_EQ(connectionCount(*runtime), 1U);
}

TEST_F(RuntimeReachability, IsToldInTheTraceWithTheNumberOfThoseThatAnswer) {
    const Quarlen::Tests::TraceCapture traces;
    runtime->connectVehicle();
    EXPECT_EQ(traces.count(L"20 of 100 control units answer"), 1);
}

TEST_F(RuntimeReachability, TakesNoLongerForTheNumberOfTheVehicleInAReport) {
    runtime->connectVehicle();
    const auto taken = timeOf([&] {
        std::wstring file;
        runtime->createVehicleReport(file, L"Large", nullptr, {},
                                     std::make_shared<VehicleReportConfig>());
        EXPECT_NE(file, L"");
    });
    EXPECT_LT(taken, seconds(3));
}

} // namespace Quarlen::Kel_cpp::Tests

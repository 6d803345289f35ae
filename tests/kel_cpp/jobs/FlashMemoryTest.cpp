#include <gtest/gtest.h>

#include "kel_cpp/jobs/FlashJob.hpp"
#include "tests/kel_cpp/ControlUnitVehicle.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

constexpr std::uint32_t memoryStart = 0x1000;
constexpr std::uint32_t memorySize = 0x4000;
constexpr std::uint32_t keyMask = 0x5A3C96E1;

Simulation::ControlUnitDescription controlUnit() {
    Simulation::ControlUnitDescription unit;
    unit.name = L"UNIT";
    unit.link = L"LINK";
    unit.dataIdentifiers = {{Uds::Did::softwareVersion, {'1'}, false, {}}};
    unit.securityLevels = {{1, keyMask}};
    unit.flashMemories = {{memoryStart, memorySize, 34, std::chrono::milliseconds{0}, 1}};
    return unit;
}

std::shared_ptr<const Project> project() {
    auto made = std::make_shared<Project>();
    made->name = L"P";
    made->vehicleInformations = {{L"V", {{1, L"UNIT", L"LINK"}}, {}}};
    made->flashItems = {{L"ITEM",
                         L"UNIT",
                         L"",
                         1,
                         keyMask,
                         {{L"APP", L"app.bin", memoryStart, {}, {}, true},
                          {L"DATA", L"data.bin", 0x3000, {}, {}, true}}}};
    return made;
}

/// The whole job on a control unit whose memory the test looks into.
class FlashMemory : public testing::Test {
protected:
    std::shared_ptr<FlashJobError> flash(const std::vector<std::wstring>& sessions) {
        const auto selected = project();
        const auto access = std::make_shared<VehicleAccess>(
            L"Test", vehicle, clock, AccessOptions{.testerPresentInterval = std::chrono::hours(1)});
        const FlashJob job({selected, &selected->vehicleInformations.front(), access}, L"ITEM",
                           sessions, folder.path(), {clock});
        Quarlen::Tests::FlashCollector reports;
        JobReport<FlashResult> report(reports, 1);
        job.run(report, {});
        return reports.results().back()->jobError;
    }

    [[nodiscard]] std::string memory(std::uint32_t address, std::size_t size) const {
        const auto bytes = vehicle->unit.memoryContent(address, static_cast<std::uint32_t>(size));
        return {bytes.begin(), bytes.end()};
    }

    /// Every byte value, the count of the blocks beyond what the counter can hold.
    static std::string content(std::size_t size, unsigned step) {
        std::string bytes;
        for (std::size_t index = 0; index < size; ++index) {
            bytes.push_back(static_cast<char>(index * step % 251));
        }
        return bytes;
    }

    Quarlen::Tests::FakeClock clock;
    Quarlen::Tests::TemporaryFolder folder;
    std::shared_ptr<ControlUnitVehicle> vehicle =
        std::make_shared<ControlUnitVehicle>(controlUnit(), clock);
};

} // namespace

TEST_F(FlashMemory, HoldsExactlyTheBytesOfTheFilesAfterwards) {
    const std::string app = content(0x1FFF, 7);
    const std::string data = content(100, 3);
    folder.write("app.bin", app);
    folder.write("data.bin", data);

    EXPECT_EQ(flash({L"APP", L"DATA"}), nullptr);

    EXPECT_EQ(memory(memoryStart, app.size()), app);
    EXPECT_EQ(memory(0x3000, data.size()), data);
}

TEST_F(FlashMemory, KeepsWhatLiesBesideTheFile) {
    folder.write("app.bin", content(50, 1));
    folder.write("data.bin", content(60, 1));
    ASSERT_EQ(flash({L"DATA"}), nullptr);

    ASSERT_EQ(flash({L"APP"}), nullptr);

    EXPECT_EQ(memory(0x3000, 60), content(60, 1));
    EXPECT_EQ(memory(memoryStart + 50, 4), std::string(4, '\0'));
}

TEST_F(FlashMemory, TakesAFileThatFillsItToItsLastByte) {
    folder.write("app.bin", content(memorySize, 5));

    EXPECT_EQ(flash({L"APP"}), nullptr);

    EXPECT_EQ(memory(memoryStart, memorySize), content(memorySize, 5));
}

TEST_F(FlashMemory, IsNotTouchedByAFileThatIsLarger) {
    folder.write("app.bin", content(50, 1));
    ASSERT_EQ(flash({L"APP"}), nullptr);
    folder.write("app.bin", content(memorySize + 1, 5));

    ASSERT_NE(flash({L"APP"}), nullptr);

    EXPECT_EQ(memory(memoryStart, 50), content(50, 1));
}

} // namespace Quarlen::Kel_cpp::Tests

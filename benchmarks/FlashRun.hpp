#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "kel_cpp/jobs/FlashJob.hpp"
#include "simulation/VehicleDescription.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp {

/// The whole job of flashing one file: reading it, session, unlock, erase, download, check.
class FlashRun {
public:
    static constexpr std::uint16_t unitAddress = 0x1001;

    /// One control unit that answers at once and has exactly this much memory.
    static Simulation::VehicleDescription vehicle(std::size_t memorySize,
                                                  std::uint32_t blockLength) {
        Simulation::ControlUnitDescription unit;
        unit.name = L"UNIT";
        unit.link = L"LINK";
        unit.address = unitAddress;
        unit.securityLevels = {{1, keyMask}};
        unit.flashMemories = {{0, static_cast<std::uint32_t>(memorySize), blockLength,
                               std::chrono::milliseconds{0}, 1}};
        return {L"", {unit}};
    }

    FlashRun(std::size_t size, std::shared_ptr<Uds::VehicleInterface> vehicle)
        : access(std::make_shared<VehicleAccess>(L"Benchmark", std::move(vehicle),
                                                 Platform::systemClock())) {
        folder.write("image.bin", std::string(size, '\x5A'));
    }

    /// False when the file was not flashed.
    [[nodiscard]] bool flash() const {
        const FlashJob job({project, &project->vehicleInformations.front(), access}, L"ITEM",
                           {L"S"}, folder.path(), {Platform::systemClock()});
        Outcome outcome;
        JobReport<FlashResult> report(outcome, 1);
        job.run(report, {});
        return !outcome.last->jobError && outcome.last->progress == 100;
    }

private:
    static constexpr std::uint32_t keyMask = 0x5A3C96E1;

    class Outcome : public KelApi::ExecuteFlashSessionsCallback {
    public:
        void report(RecordList<FlashResult> results, std::uint64_t /*value*/,
                    std::shared_ptr<Record> /*context*/, bool /*done*/) override {
            if (!results.empty()) {
                last = results.back();
            }
        }

        std::shared_ptr<FlashResult> last;
    };

    static std::shared_ptr<const Project> flashProject() {
        auto project = std::make_shared<Project>();
        ProjectTarget target{1, L"UNIT", L"LINK"};
        target.address = unitAddress;
        project->vehicleInformations = {{L"V", {target}, {}}};
        project->flashItems = {
            {L"ITEM", L"UNIT", L"", 1, keyMask, {{L"S", L"image.bin", 0, {}, {}, true}}}};
        return project;
    }

    const Quarlen::Tests::TemporaryFolder folder;
    const std::shared_ptr<const Project> project = flashProject();
    const std::shared_ptr<VehicleAccess> access;
};

} // namespace Quarlen::Kel_cpp

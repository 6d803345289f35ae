#include <cstdint>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "kel_cpp/jobs/QuickTest.hpp"
#include "simulation/VehicleFile.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp {
namespace {

/// A quick test that names so many control units, each twice.
void prepareQuickTest(benchmark::State& state) {
    const auto project = std::make_shared<Project>();
    project->vehicleInformations = {{L"V", {}, {}}};
    QuicktestConfig config;
    config.everyControlUnit = false;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        config.targets.push_back(L"CONTROL_UNIT_" + std::to_wstring(i));
    }
    const auto once = config.targets;
    config.targets.insert(config.targets.end(), once.begin(), once.end());
    for ([[maybe_unused]] const auto iteration : state) {
        const QuickTest test({project, &project->vehicleInformations.front(), nullptr}, config, 0);
        benchmark::DoNotOptimize(&test);
    }
}

/// A vehicle file with so many flash memories in one control unit.
void readFlashMemories(benchmark::State& state) {
    std::string content = "<Vehicle vin='V'><ControlUnit name='U' address='1' link='L'>";
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        content +=
            "<FlashMemory address='" + std::to_string(i * 16) + "' size='16' securityLevel='0'/>";
    }
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = folder.write("vehicle.xml", content + "</ControlUnit></Vehicle>");
    for ([[maybe_unused]] const auto iteration : state) {
        benchmark::DoNotOptimize(Simulation::readVehicleFile(file));
    }
}

BENCHMARK(prepareQuickTest)->Unit(benchmark::kMillisecond)->Arg(4'000)->Arg(40'000);
BENCHMARK(readFlashMemories)->Unit(benchmark::kMillisecond)->Arg(6'000)->Arg(60'000);

} // namespace
} // namespace Quarlen::Kel_cpp

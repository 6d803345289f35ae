#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "kel_cpp/jobs/FlashJob.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp {
namespace {

constexpr std::uint32_t keyMask = 0x5A3C96E1;
constexpr std::uint32_t blockLength = 4096;
constexpr std::int64_t megabyte = 1'000'000;

/// One control unit that answers at once and has exactly this much memory.
std::shared_ptr<Uds::VehicleInterface> vehicleWith(std::uint32_t memorySize) {
    Simulation::ControlUnitDescription unit;
    unit.name = L"UNIT";
    unit.link = L"LINK";
    unit.securityLevels = {{1, keyMask}};
    unit.flashMemories = {{0, memorySize, blockLength, std::chrono::milliseconds{0}, 1}};
    return Simulation::SimulatedVehicle({L"", {unit}}, Platform::systemClock()).connect();
}

std::shared_ptr<const Project> flashProject() {
    auto project = std::make_shared<Project>();
    project->vehicleInformations = {{L"V", {{1, L"UNIT", L"LINK"}}, {}}};
    project->flashItems = {
        {L"ITEM", L"UNIT", L"", 1, keyMask, {{L"S", L"image.bin", 0, {}, {}, true}}}};
    return project;
}

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

/// The whole job: reading the file, session, unlock, erase, download, check.
void flashFile(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0) * megabyte);
    const Quarlen::Tests::TemporaryFolder folder;
    folder.write("image.bin", std::string(size, '\x5A'));
    const auto project = flashProject();
    const auto access = std::make_shared<VehicleAccess>(
        L"Benchmark", vehicleWith(static_cast<std::uint32_t>(size)), Platform::systemClock());
    const FlashJob job({project, &project->vehicleInformations.front(), access}, L"ITEM", {L"S"},
                       folder.path(), {Platform::systemClock()});
    for ([[maybe_unused]] const auto iteration : state) {
        Outcome outcome;
        JobReport<FlashResult> report(outcome, 1);
        job.run(report, {});
        if (outcome.last->jobError || outcome.last->progress != 100) {
            state.SkipWithError("the file was not flashed");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

BENCHMARK(flashFile)->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace Quarlen::Kel_cpp

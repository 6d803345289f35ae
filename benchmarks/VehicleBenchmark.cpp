#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include <benchmark/benchmark.h>

#include "kel_cpp/jobs/QuickTest.hpp"
#include "simulation/SimulatedControlUnit.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {
namespace {

using std::chrono::milliseconds;

constexpr std::uint16_t firstAddress = 0x1001;
constexpr std::uint16_t vinIdentifier = 0xF190;
constexpr milliseconds slowest{40};

const Uds::Bytes& readVin() {
    static const Uds::Bytes request{0x22, 0xF1, 0x90};
    return request;
}

Simulation::ControlUnitDescription unitOf(std::int64_t number, milliseconds delay) {
    Simulation::ControlUnitDescription unit;
    unit.name = L"UNIT_" + std::to_wstring(number);
    unit.link = L"LINK_" + std::to_wstring(number);
    unit.address = static_cast<std::uint16_t>(firstAddress + number);
    unit.responseDelay = delay;
    unit.dataIdentifiers = {{vinIdentifier, Uds::Bytes(17, 'A'), false, {}}};
    for (std::uint32_t code = 0x030000; code < 0x030014; ++code) {
        unit.dtcs.push_back({code, 0x2F});
    }
    return unit;
}

/// The last of them is the slowest; the others need between a quarter of its time and all of it.
Simulation::VehicleDescription vehicleWith(std::int64_t units) {
    Simulation::VehicleDescription vehicle;
    for (std::int64_t number = 1; number <= units; ++number) {
        vehicle.controlUnits.push_back(
            unitOf(number, slowest / 4 + slowest * 3 * number / (4 * units)));
    }
    return vehicle;
}

std::shared_ptr<const Project> projectOf(const Simulation::VehicleDescription& vehicle) {
    auto project = std::make_shared<Project>();
    project->vehicleInformations = {{L"V", {}, {}}};
    project->identification = {{vinIdentifier, L"VIN"}};
    for (const auto& unit : vehicle.controlUnits) {
        project->vehicleInformations.front().targets.push_back({1, unit.name, unit.link});
    }
    return project;
}

class Answers : public KelApi::JobCallback<QuickTestResult> {
public:
    void report(RecordList<QuickTestResult> results, std::uint64_t /*value*/,
                std::shared_ptr<Record> /*context*/, bool /*done*/) override {
        for (const auto& result : results) {
            const auto* const unit = dynamic_cast<ControlUnitQuickTestResult*>(result.get());
            complete += unit != nullptr && unit->errorText.empty() ? 1 : 0;
        }
    }

    std::size_t complete = 0;
};

/// So many control units, or of a hundred only the slowest.
void quickTest(benchmark::State& state) {
    constexpr std::int64_t units = 100;
    const auto vehicle = vehicleWith(units);
    const auto project = projectOf(vehicle);
    QuicktestConfig config;
    config.everyControlUnit = state.range(0) == units;
    config.targets = {vehicle.controlUnits.back().name};
    const auto access = std::make_shared<VehicleAccess>(
        L"Benchmark", Simulation::SimulatedVehicle(vehicle, Platform::systemClock()).connect(),
        Platform::systemClock());
    DtcReadConfig dtcs;
    dtcs.statusMask = 0xFF;
    const QuickTest test({project, &project->vehicleInformations.front(), access}, config, dtcs);
    for ([[maybe_unused]] const auto iteration : state) {
        Answers answers;
        JobReport<QuickTestResult> report(answers, 1);
        test.run(report, {});
        if (answers.complete != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("not every control unit was read");
        }
    }
}

/// A request and its response, over the whole way that a job's take.
void exchangeOverLink(benchmark::State& state) {
    const Simulation::VehicleDescription vehicle{L"", {unitOf(1, milliseconds{0})}};
    VehicleAccess access(L"Benchmark",
                         Simulation::SimulatedVehicle(vehicle, Platform::systemClock()).connect(),
                         Platform::systemClock());
    auto link = access.openLink({vehicle.controlUnits.front().link});
    const std::stop_source cancel;
    Uds::Client client(link, cancel.get_token());
    for ([[maybe_unused]] const auto iteration : state) {
        benchmark::DoNotOptimize(client.exchange(readVin()));
    }
}

/// What of it is the control unit's own work.
void askControlUnit(benchmark::State& state) {
    Simulation::SimulatedControlUnit unit(unitOf(1, milliseconds{0}), Platform::systemClock());
    for ([[maybe_unused]] const auto iteration : state) {
        benchmark::DoNotOptimize(unit.handle(readVin()));
    }
}

BENCHMARK(quickTest)->Arg(1)->Arg(100)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(exchangeOverLink)->Arg(1);
BENCHMARK(askControlUnit)->Arg(1);

} // namespace
} // namespace Quarlen::Kel_cpp

#include <cstdint>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "kel_cpp/report/VehicleReport.hpp"

namespace Quarlen::Kel_cpp {
namespace {

/// A vehicle with as many control units as given, each with a fault memory of 20 entries.
VehicleReport largeReport(std::int64_t controlUnits) {
    VehicleReport report;
    report.name = L"Benchmark";
    report.serviceMask = 0x7;
    for (std::int64_t number = 0; number < controlUnits; ++number) {
        auto unit = std::make_shared<ControlUnitQuickTestResult>();
        unit->name = L"UNIT_" + std::to_wstring(number);
        unit->faults.assign(20, DtcReading{0x030100, 0x2F, L"Cylinder 1: misfire detected"});
        unit->identification.assign(10, IdentificationValue{0xF190, L"VIN", L"WKLDEMO0000000042"});
        report.controlUnits.push_back(std::move(unit));
    }
    return report;
}

void renderReport(benchmark::State& state) {
    const VehicleReport report = largeReport(state.range(0));
    for ([[maybe_unused]] const auto iteration : state) {
        benchmark::DoNotOptimize(renderVehicleReport(report));
    }
    state.SetComplexityN(state.range(0));
}

BENCHMARK(renderReport)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

} // namespace
} // namespace Quarlen::Kel_cpp

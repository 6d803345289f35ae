#include <cstddef>
#include <cstdint>

#include <benchmark/benchmark.h>

#include "benchmarks/FlashRun.hpp"
#include "simulation/SimulatedVehicle.hpp"

namespace Quarlen::Kel_cpp {
namespace {

constexpr std::uint32_t blockLength = 4096;
constexpr std::int64_t megabyte = 1'000'000;

void flashFile(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0) * megabyte);
    const FlashRun run(size, Simulation::SimulatedVehicle(FlashRun::vehicle(size, blockLength),
                                                          Platform::systemClock())
                                 .connect());
    for ([[maybe_unused]] const auto iteration : state) {
        if (!run.flash()) {
            state.SkipWithError("the file was not flashed");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

BENCHMARK(flashFile)->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace Quarlen::Kel_cpp

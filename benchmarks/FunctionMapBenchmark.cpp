#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "kel_server_lib/rest/FunctionMap.hpp"

namespace Quarlen::Rest {
namespace {

/// The cost of finding a route in a table of so many: it must not grow with their number.
void findRoute(benchmark::State& state) {
    FunctionMap routes;
    for (std::int64_t number = 0; number < state.range(0); ++number) {
        routes.add("get/resource" + std::to_string(number) + "/VAR_NAME/part", Handler());
    }
    const std::string middle = "resource" + std::to_string(state.range(0) / 2);
    const std::vector<std::string> segments{"get", middle, "P1", "part"};
    for (auto iteration : state) {
        static_cast<void>(iteration);
        benchmark::DoNotOptimize(routes.find(segments));
    }
}

BENCHMARK(findRoute)->Arg(12)->Arg(100)->Arg(1'000)->Arg(10'000);

} // namespace
} // namespace Quarlen::Rest

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "config/ConfigBase.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/support/RecordingKelApi.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen {
namespace {

/// A script whose actions are all disabled: what is left is reading, building and walking it.
std::filesystem::path writeScript(const std::filesystem::path& folder, std::int64_t actions) {
    const std::filesystem::path file = folder / "script.xml";
    std::ofstream output(file);
    output << "<KelServerScript resultLed=\"false\">\n";
    for (std::int64_t index = 0; index < actions; ++index) {
        output << "  <ExecuteAction enabled=\"false\" command=\"Otx_" << index << "\"/>\n";
    }
    output << "</KelServerScript>\n";
    return file;
}

/// Nothing of this machine's devices and configuration takes part.
SequenceEnvironment isolatedEnvironment(Platform::Console& console,
                                        const std::filesystem::path& folder) {
    const std::string devices = (folder / "no-device").string();
    return {.console = console,
            .devices = {devices, devices, devices},
            .configPath = StdUtil::PathString(folder)};
}

void loadScript(benchmark::State& state) {
    const Tests::TemporaryFolder folder;
    const std::wstring file = writeScript(folder.path(), state.range(0)).wstring();
    for ([[maybe_unused]] const auto iteration : state) {
        const auto loaded = Config::createConfigBase();
        if (!loaded->load(file)) {
            throw std::runtime_error("the script does not load");
        }
        benchmark::DoNotOptimize(loaded->root().get());
    }
    state.SetComplexityN(state.range(0));
}

void loadAndWalkScript(benchmark::State& state) {
    const Tests::TemporaryFolder folder;
    const std::wstring file = writeScript(folder.path(), state.range(0)).wstring();
    std::ostringstream output;
    Platform::Console console(output);
    ServerHandlerSequence handler(isolatedEnvironment(console, folder.path()));
    const auto api = std::make_shared<Tests::RecordingKelApi>();
    for ([[maybe_unused]] const auto iteration : state) {
        handler.runSequence(file, api);
    }
    if (api->count("setServerStatus(Idle)") == 0) {
        throw std::runtime_error("the script did not run to its end");
    }
    state.SetComplexityN(state.range(0));
}

BENCHMARK(loadScript)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity(benchmark::oN);

BENCHMARK(loadAndWalkScript)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity(benchmark::oN);

} // namespace
} // namespace Quarlen

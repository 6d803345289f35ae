#include "kel_server/Program.hpp"

#include "kel_server/CommandLine.hpp"
#include "kel_server/ServerApplication.hpp"

namespace Quarlen {

namespace {

constexpr std::chrono::milliseconds startDelay{2000};

void delayStart(const StartOptions& options, const ApplicationEnvironment& environment) {
    if (options.delayedStart) {
        environment.console.line("starting server with a 2sec delay (from restart request)");
        environment.clock.sleepFor(startDelay);
    }
}

} // namespace

int runProgram(int argc, const wchar_t* const argv[], const ApplicationEnvironment& environment) {
    StartOptions options;
    if (parseCommandLine(options, argc, argv, environment.console) ==
        CommandLineResult::UsageShown) {
        return ExitCodes::success;
    }
    delayStart(options, environment);
    ServerApplication application(options, environment);
    const int result = application.run();
    if (result == ExitCodes::success) {
        environment.started();
        application.waitForStop();
    }
    return result;
}

} // namespace Quarlen

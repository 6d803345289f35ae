#include <atomic>
#include <iostream>
#include <memory>

#include "platform/BrokenPipes.hpp"
#include "platform/DescriptorLimit.hpp"
#include "platform/ErrorWindows.hpp"
#include "platform/StandardStreams.hpp"
#include "platform/StopSignals.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kel_vehicle/Program.hpp"

namespace {

int start(const std::vector<std::string>& arguments) {
    Quarlen::Platform::openNoErrorWindows();
    Quarlen::Platform::openMissingStandardStreams();
    Quarlen::Platform::raiseDescriptorLimit();
    Quarlen::Platform::surviveBrokenPipes();
    const auto stopRequested = std::make_shared<std::atomic<bool>>(false);
    Quarlen::Platform::raiseOnStopSignals(stopRequested);
    return Quarlen::KelVehicle::runProgram(arguments,
                                           {std::cin, std::cout, std::cerr, *stopRequested});
}

} // namespace

#ifdef _WIN32

int wmain(int argc, wchar_t* argv[]) {
    std::vector<std::string> arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.push_back(Quarlen::Platform::toUtf8(argv[index]));
    }
    return start(arguments);
}

#else

int main(int argc, char* argv[]) {
    return argc > 1 ? start({argv + 1, argv + argc}) : start({});
}

#endif

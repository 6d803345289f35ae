#include <cstdlib>
#include <ostream>

#include "platform/BrokenPipes.hpp"
#include "platform/DescriptorLimit.hpp"
#include "platform/ErrorWindows.hpp"
#include "platform/StandardStreams.hpp"
#include "platform/Terminal.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/Program.hpp"

namespace {

int start(const std::vector<std::string>& arguments) {
    Quarlen::Platform::openNoErrorWindows();
    Quarlen::Platform::openMissingStandardStreams();
    Quarlen::Platform::raiseDescriptorLimit();
    Quarlen::Platform::surviveBrokenPipes();
    const char* const noColour =
        std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe): no other thread
    return Quarlen::Ctl::runProgram(
        arguments, {Quarlen::Platform::standardOutput(), Quarlen::Platform::standardErrors(),
                    Quarlen::Platform::isOutputTerminal(), noColour != nullptr && *noColour != 0});
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

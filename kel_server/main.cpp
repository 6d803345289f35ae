#include <string>
#include <vector>

#include "kel_server/Program.hpp"
#include "platform/BrokenPipes.hpp"
#include "platform/DescriptorLimit.hpp"
#include "platform/HeapSettings.hpp"
#include "platform/StandardStreams.hpp"
#include "platform/StopSignals.hpp"
#include "platform/TextEncoding.hpp"

namespace {

int start(int argc, const wchar_t* const argv[]) {
    Quarlen::Platform::shareOneHeap();
    Quarlen::Platform::raiseDescriptorLimit();
    Quarlen::Platform::openMissingStandardStreams();
    Quarlen::Platform::surviveBrokenPipes();
    Quarlen::ApplicationEnvironment environment;
    Quarlen::Platform::raiseOnStopSignals(environment.stopRequested);
    environment.getKelApi = Quarlen::Kel_cpp::getKelApi;
    return Quarlen::runProgram(argc, argv, environment);
}

} // namespace

#ifdef _WIN32

int wmain(int argc, wchar_t* argv[]) {
    return start(argc, argv);
}

#else

int main(int argc, char* argv[]) {
    std::vector<std::wstring> texts;
    texts.reserve(static_cast<std::size_t>(argc));
    for (int index = 0; index < argc; ++index) {
        texts.push_back(Quarlen::Platform::fromUtf8(argv[index]));
    }
    std::vector<const wchar_t*> arguments;
    arguments.reserve(texts.size());
    for (const std::wstring& text : texts) {
        arguments.push_back(text.c_str());
    }
    return start(argc, arguments.data());
}

#endif

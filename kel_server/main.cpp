#include <functional>
#include <string>
#include <vector>

#include "kel_server/Program.hpp"
#include "platform/BrokenPipes.hpp"
#include "platform/DescriptorLimit.hpp"
#include "platform/ErrorWindows.hpp"
#include "platform/HeapSettings.hpp"
#include "platform/KeyReader.hpp"
#include "platform/ServiceProgram.hpp"
#include "platform/StandardStreams.hpp"
#include "platform/TextEncoding.hpp"

namespace {

int run(const std::vector<std::wstring>& arguments,
        const Quarlen::ApplicationEnvironment& environment) {
    std::vector<const wchar_t*> texts;
    texts.reserve(arguments.size());
    for (const std::wstring& argument : arguments) {
        texts.push_back(argument.c_str());
    }
    return Quarlen::runProgram(static_cast<int>(texts.size()), texts.data(), environment);
}

int start(const std::vector<std::wstring>& arguments) {
    Quarlen::Platform::openNoErrorWindows();
    Quarlen::Platform::shareOneHeap();
    Quarlen::Platform::raiseDescriptorLimit();
    Quarlen::Platform::openMissingStandardStreams();
    Quarlen::Platform::surviveBrokenPipes();
    Quarlen::Platform::keepClicksHarmless();
    Quarlen::ApplicationEnvironment environment;
    environment.getKelApi = Quarlen::Kel_cpp::getKelApi;
    return Quarlen::Platform::runServiceProgram(
        arguments, environment.stopRequested,
        [&environment](const std::vector<std::wstring>& texts,
                       const std::function<void()>& started) {
            environment.started = started;
            return run(texts, environment);
        });
}

} // namespace

#ifdef _WIN32

int wmain(int argc, wchar_t* argv[]) {
    return start({argv, argv + argc});
}

#else

int main(int argc, char* argv[]) {
    std::vector<std::wstring> texts;
    texts.reserve(static_cast<std::size_t>(argc));
    for (int index = 0; index < argc; ++index) {
        texts.push_back(Quarlen::Platform::fromUtf8(argv[index]));
    }
    return start(texts);
}

#endif

#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kel_server_lib/rest/RESTServer.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/sequence/actions/SequenceEnvironment.hpp"
#include "platform/Clock.hpp"
#include "platform/Console.hpp"
#include "platform/DetachedThread.hpp"
#include "platform/KeyReader.hpp"
#include "platform/NetworkAdapters.hpp"
#include "platform/SystemPaths.hpp"

namespace Quarlen {

/// The parts of the outside world that the application uses. All but the runtime have production
/// defaults; the executable sets the runtime, so that the application links without one.
struct ApplicationEnvironment {
    std::function<std::shared_ptr<Kel_cpp::KelApi>()> getKelApi;
    Platform::Clock& clock = Platform::systemClock();
    Platform::Console& console = Platform::standardConsole();
    SequenceEnvironment sequence{.clock = clock, .console = console, .devices = {}};
    RestEnvironment rest{.clock = clock, .console = console};
    std::function<std::vector<Platform::NetworkAdapter>()> networkAdapters =
        Platform::networkAdapters;
    std::function<std::wstring()> hostName = Platform::hostName;
    std::function<std::unique_ptr<Platform::KeyReader>()> openKeys = Platform::openConsoleKeys;
    std::function<void(std::function<void()>)> startDetachedThread = Platform::startDetachedThread;
    /// Called once the application is up, before it waits for its end.
    std::function<void()> started = [] {};
    /// The application's stop flag. The entry point has signals raise it, too.
    std::shared_ptr<std::atomic<bool>> stopRequested = std::make_shared<std::atomic<bool>>(false);
};

} // namespace Quarlen

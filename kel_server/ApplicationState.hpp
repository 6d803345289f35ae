#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "kel_server/CommandLine.hpp"
#include "kel_server_lib/RESTServer.hpp"
#include "kel_server_lib/ServerHandlerSequence.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"

namespace Quarlen {

/// What start-up builds, in the order in which it builds it. Members are released in reverse
/// order, so that nothing outlives what it works with.
struct ApplicationState {
    StartOptions options;
    std::shared_ptr<Kel_cpp::KelApi> facade;
    /// Stands for "$$BROKERURL$$" in configured addresses.
    std::wstring brokerUrl;
    /// The loop over the configured addresses clears it once it has given up on the broker.
    bool brokerUrlPresent = false;
    /// The runtime holds a second reference.
    std::shared_ptr<ServerHandlerSequence> sequenceHandler;
    std::shared_ptr<Kel_cpp::ServerConfiguration> serverConfiguration;
    /// As `startServer` returned them; the runtime's server is stopped on each.
    std::vector<std::wstring> startedAddresses;
    /// Raised by the keyboard thread, by REST clients and by signals, polled by the main thread.
    /// Shared, because the detached keyboard thread may still wait for a key when the application
    /// is gone.
    std::shared_ptr<std::atomic<bool>> stopRequested;
    /// Only with "--REST". It points to the stop flag, so it comes behind it.
    std::unique_ptr<RESTServer> restServer;
};

} // namespace Quarlen

#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "kel_server/CommandLine.hpp"
#include "kel_server_lib/rest/RESTServer.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"

namespace Quarlen {

/// The objects that start-up builds, in this order. Members are released in reverse order, so that
/// none outlives an object that it uses.
struct ApplicationState {
    StartOptions options;
    std::shared_ptr<Kel_cpp::KelApi> facade;
    /// Stands for "$$BROKERURL$$" in configured addresses.
    std::wstring brokerUrl;
    /// False when no broker is configured, or once the loop over the configured addresses has given
    /// up on the broker.
    bool brokerUrlPresent = false;
    /// The runtime holds a second reference.
    std::shared_ptr<ServerHandlerSequence> sequenceHandler;
    std::shared_ptr<Kel_cpp::ServerConfiguration> serverConfiguration;
    /// The addresses that `startServer` returned; shutdown stops the runtime's server on each.
    std::vector<std::wstring> startedAddresses;
    /// Raised by the keyboard thread, by REST clients and by signals, polled by the main thread.
    /// Shared, because the detached keyboard thread may still wait for a key when the application
    /// is gone.
    std::shared_ptr<std::atomic<bool>> stopRequested;
    /// Set only with "--REST". The server points to the stop flag, so it is declared after the
    /// flag.
    std::unique_ptr<RESTServer> restServer;
};

} // namespace Quarlen

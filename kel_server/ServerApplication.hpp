#pragma once

#include <string>

#include "kel_server/ApplicationEnvironment.hpp"
#include "kel_server/ApplicationState.hpp"

namespace Quarlen {

namespace ExitCodes {
inline constexpr int success = 0;
inline constexpr int noServerAddress = 1;
inline constexpr int runtimeException = 2;
} // namespace ExitCodes

/// The server from start-up to shutdown. `run` opens the runtime, starts its servers on the
/// configured or given addresses, registers the sequence handler and then starts the services that
/// the options ask for: REST API, buttons and keyboard. The application owns all of these in its
/// `ApplicationState` and shares the facade and the handler with the runtime and the REST server.
/// All members run on the main thread; only the stop flag is shared with other threads, and
/// `waitForStop` polls it. The destructor shuts everything down.
class ServerApplication {
public:
    /// Only copies its arguments.
    ServerApplication(const StartOptions& options, ApplicationEnvironment environment);
    ServerApplication(const ServerApplication&) = delete;
    ServerApplication& operator=(const ServerApplication&) = delete;
    /// Shuts down everything that `run` has started, also after `run` has failed half-way.
    ~ServerApplication();

    /// Starts everything. Returns one of `ExitCodes`; `success` means that the server runs.
    /// Exceptions other than `KelApiException` pass through.
    int run();
    /// Returns up to a second after the stop has been requested.
    void waitForStop() const;
    void printUsage(const std::wstring& programPath) const;

private:
    using Group = int (ServerApplication::*)();

    /// A `KelApiException` ends the group with `runtimeException`.
    int runGroup(Group group);

    int openServers();
    void openFacade();
    void openBroker();
    void createSequenceHandler();
    [[nodiscard]] bool addressIsMissing() const;
    void reportMissingAddress() const;
    void startServers();
    void printBanner() const;

    int registerHandler();

    int startServices();
    void startRest();
    void startSovd() const;
    void runStartSequence() const;
    void startButtons() const;
    void startKeyboard() const;

    void shutDownServices() const;
    void stopRest() const;
    void stopSovd() const;
    void cancelSequence() const;
    void stopServers() const;
    void stopButtons() const;
    void lightAllLeds() const;

    ApplicationEnvironment environment;
    ApplicationState state;
};

} // namespace Quarlen

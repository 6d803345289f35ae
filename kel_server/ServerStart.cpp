#include "kel_server/ServerStart.hpp"

#include <algorithm>
#include <cstddef>

#include "kel_server/Addresses.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/StringUtils.hpp"

namespace Quarlen {

using Platform::toUtf8;

namespace {

constexpr std::chrono::milliseconds networkPause{3000};
constexpr std::chrono::milliseconds attemptPause{1000};
constexpr int maxAttempts = 10;

void waitForNetwork(const ApplicationEnvironment& environment) {
    environment.clock.sleepFor(networkPause);
    environment.console.line("waiting for network...");
}

void printStarted(const ApplicationEnvironment& environment, const std::wstring& address) {
    environment.console.line("server address: " + toUtf8(address));
}

std::wstring waitForAdapterAddress(const std::wstring& name,
                                   const ApplicationEnvironment& environment) {
    while (true) {
        std::wstring resolved = resolveAdapterAddress(name, environment.networkAdapters);
        if (!resolved.empty()) {
            return resolved;
        }
        waitForNetwork(environment);
    }
}

std::wstring argumentAddress(const StartOptions& options,
                             const ApplicationEnvironment& environment) {
    const std::wstring& address = options.arguments[1];
    return Platform::isAdapterName(address) ? waitForAdapterAddress(address, environment) : address;
}

std::int32_t argumentPort(const StartOptions& options) {
    return options.argumentCount > 2 ? leadingInteger(options.arguments[2])
                                     : Kel_cpp::ServerAddress::defaultPort;
}

/// An address is not kept when a started address already ends with the same port; its server is
/// then not stopped at shutdown either.
void keepStartedAddress(ApplicationState& state, const std::wstring& address, std::int32_t port) {
    const std::wstring suffix = L":" + std::to_wstring(port);
    if (!StdUtil::StringUtils::endsWith(state.startedAddresses, suffix)) {
        state.startedAddresses.push_back(address);
    }
}

void printFailed(const ApplicationEnvironment& environment, const std::wstring& key,
                 const Kel_cpp::KelApiException& exception) {
    environment.console.line("startServer(" + toUtf8(key) +
                             ") failed. Exception caught : " + toUtf8(exception.message()) +
                             " code : " + std::to_string(exception.code()));
}

/// True when a server has been started on the entry's address now.
bool startConfiguredServer(ApplicationState& state, const Kel_cpp::ServerAddress& entry,
                           const ApplicationEnvironment& environment) {
    std::wstring address = entry.address;
    substitutePlaceholders(address, state.brokerUrl, environment.hostName);
    const std::wstring key = composeServerAddress(address, entry.port);
    const auto& started = state.startedAddresses;
    if (std::find(started.begin(), started.end(), key) != started.end()) {
        return false;
    }
    try {
        const std::wstring result = state.facade->startServer(key);
        keepStartedAddress(state, result, entry.port);
        printStarted(environment, result);
        return true;
    } catch (const Kel_cpp::KelApiException& exception) {
        printFailed(environment, key, exception);
        return false;
    }
}

bool attemptsEnded(ApplicationState& state, std::size_t triedEntries, int attempt) {
    const AfterAttempt decision =
        afterAttempt({.brokerUrlPresent = state.brokerUrlPresent,
                      .triedEntries = triedEntries,
                      .configuredEntries = state.serverConfiguration->serverAddresses.size(),
                      .number = attempt});
    if (decision == AfterAttempt::EndWithoutBroker) {
        state.brokerUrlPresent = false;
    }
    return decision != AfterAttempt::TryAgain;
}

/// True when at least one server has been started.
bool startConfiguredServers(ApplicationState& state, const ApplicationEnvironment& environment) {
    std::size_t triedEntries = 0;
    bool started = false;
    for (int attempt = 1;; ++attempt) {
        // A copy: the record is shared with the runtime, whose start of a server may change it.
        const auto entries = state.serverConfiguration->serverAddresses;
        for (const auto& entry : entries) {
            ++triedEntries;
            started = startConfiguredServer(state, *entry, environment) || started;
        }
        if (attemptsEnded(state, triedEntries, attempt)) {
            return started;
        }
        environment.clock.sleepFor(attemptPause);
    }
}

} // namespace

AfterAttempt afterAttempt(const Attempt& attempt) {
    if (attempt.brokerUrlPresent && attempt.triedEntries == 1) {
        return AfterAttempt::End;
    }
    if (attempt.number >= maxAttempts || attempt.triedEntries >= attempt.configuredEntries) {
        return AfterAttempt::EndWithoutBroker;
    }
    return AfterAttempt::TryAgain;
}

void startFromArguments(ApplicationState& state, const ApplicationEnvironment& environment) {
    const std::wstring address = argumentAddress(state.options, environment);
    const std::wstring key = composeServerAddress(address, argumentPort(state.options));
    state.startedAddresses.push_back(state.facade->startServer(key));
    printStarted(environment, state.startedAddresses.back());
}

void startFromConfiguration(ApplicationState& state, const ApplicationEnvironment& environment) {
    while (!startConfiguredServers(state, environment)) {
        waitForNetwork(environment);
    }
}

} // namespace Quarlen

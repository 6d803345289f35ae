#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "kel_server/ServerStart.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"

namespace Quarlen::Tests {

/// The start of the servers without the application around it.
class ServerStartFixture : public ApplicationFixture {
protected:
    ServerStartFixture() {
        state.facade = api;
        state.serverConfiguration = api->serverConfiguration;
        state.stopRequested = environment.stopRequested;
    }

    void fromArguments(const std::vector<std::wstring>& arguments) {
        setArguments(arguments);
        state.options = options;
        startFromArguments(state, environment);
    }

    void fromConfiguration() { startFromConfiguration(state, environment); }

    [[nodiscard]] Calls starts() const { return api->callsOf({"startServer"}); }

    void failTheFirstStarts(std::size_t count) {
        api->during("startServer", [this, count] {
            if (starts().size() <= count) {
                throw Kel_cpp::KelApiException(L"no network", 101);
            }
        });
    }

    /// The wait for the network never ends by itself.
    void giveUpAfter(std::size_t sleeps) {
        clock.onSleep([this, sleeps](std::chrono::milliseconds) {
            if (clock.sleeps().size() >= sleeps) {
                throw WaitedLongEnough();
            }
        });
    }

    ApplicationState state;
};

inline Platform::NetworkAdapter ethernetAdapter() {
    return {.systemName = L"",
            .friendlyName = L"Ethernet",
            .description = L"",
            .up = true,
            .firstIpv4Address = L"10.0.0.7",
            .hardwareAddressLength = 6};
}

} // namespace Quarlen::Tests

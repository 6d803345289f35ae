#pragma once

#include <cstddef>

#include "kel_server/ApplicationEnvironment.hpp"
#include "kel_server/ApplicationState.hpp"

namespace Quarlen {

/// Starts the runtime's server on the address of the command line. Waits without limit for the
/// network adapter that it names. `KelApiException` of the start passes through.
void startFromArguments(ApplicationState& state, const ApplicationEnvironment& environment);

/// Starts the runtime's servers on the configured addresses. Returns once at least one runs;
/// addresses that fail are reported on the console.
void startFromConfiguration(ApplicationState& state, const ApplicationEnvironment& environment);

/// How far the attempts over the configured addresses have got.
struct Attempt {
    bool brokerUrlPresent = false;
    /// Entries tried in all attempts so far; an entry counts once per attempt.
    std::size_t triedEntries = 0;
    std::size_t configuredEntries = 0;
    /// The first is 1.
    int number = 1;
};

enum class AfterAttempt { TryAgain, End, EndWithoutBroker };

/// Whether another attempt follows this one, and whether the broker is given up with the last.
AfterAttempt afterAttempt(const Attempt& attempt);

} // namespace Quarlen

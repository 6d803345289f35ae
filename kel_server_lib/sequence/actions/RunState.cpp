#include "kel_server_lib/sequence/actions/RunState.hpp"

#include <utility>

namespace Quarlen {

RunState::RunState(SequenceEnvironment environment) : environment(std::move(environment)) {}

bool RunState::raiseStop() {
    const bool wasRaised = stopRequested.exchange(true);
    ++stopCount;
    std::stop_source waiting{std::nostopstate};
    {
        const std::lock_guard lock(nextStopMutex);
        waiting.swap(nextStopSource);
    }
    waiting.request_stop();
    return wasRaised;
}

std::stop_token RunState::nextStop() {
    const std::lock_guard lock(nextStopMutex);
    if (!nextStopSource.stop_possible()) {
        nextStopSource = std::stop_source();
    }
    return nextStopSource.get_token();
}

void RunState::lowerStop() {
    stopRequested = false;
}

bool RunState::stopRaised() const {
    return stopRequested || stopCount != stopCountAtRunStart;
}

} // namespace Quarlen

#include "kel_server_lib/sequence/actions/RunState.hpp"

#include <utility>

namespace Quarlen {

RunState::RunState(SequenceEnvironment environment) : environment(std::move(environment)) {}

bool RunState::raiseStop() {
    const bool wasRaised = stopRequested.exchange(true);
    ++stopCount;
    return wasRaised;
}

void RunState::lowerStop() {
    stopRequested = false;
}

bool RunState::stopRaised() const {
    return stopRequested || stopCount != stopCountAtRunStart;
}

} // namespace Quarlen

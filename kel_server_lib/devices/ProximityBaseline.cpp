#include "kel_server_lib/devices/ProximityBaseline.hpp"

#include <limits>
#include <numeric>

namespace Quarlen {

ProximityBaseline::ProximityBaseline(std::deque<std::int32_t>& samples)
    : samples(samples), sum(std::accumulate(samples.begin(), samples.end(), std::int64_t{0})) {}

ProximityDecision ProximityBaseline::take(std::int32_t reading) {
    if (samples.size() < length) {
        fill(reading);
        return {};
    }
    return isNear(reading) ? takeNear() : takeFar(reading);
}

void ProximityBaseline::restart() {
    samples.clear();
    sum = 0;
    nearCount = 0;
}

bool ProximityBaseline::isNear(std::int32_t reading) const {
    return reading >= sum / static_cast<std::int64_t>(length) + margin;
}

void ProximityBaseline::fill(std::int32_t reading) {
    samples.push_back(reading);
    sum += reading;
}

ProximityDecision ProximityBaseline::takeFar(std::int32_t reading) {
    ProximityDecision decision;
    if (nearCount != 0) {
        decision.colour = LedColours::allOn;
    }
    sum -= samples.front();
    samples.pop_front();
    fill(reading);
    nearCount = 0;
    decision.released = true;
    return decision;
}

ProximityDecision ProximityBaseline::takeNear() {
    ProximityDecision decision;
    // An object left on the sensor for years must not make the count wrap round.
    if (nearCount < std::numeric_limits<std::uint32_t>::max()) {
        ++nearCount;
    }
    decision.colour = LedColours::handNear;
    decision.pressed = nearCount > maxTouchReadings;
    return decision;
}

} // namespace Quarlen

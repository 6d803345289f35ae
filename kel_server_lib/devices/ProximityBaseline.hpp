#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "kel_server_lib/devices/StatusLed.hpp"

namespace Quarlen {

/// The actions that one reading of a proximity sensor asks for.
struct ProximityDecision {
    /// The colour to show unless the other button is busy, none to leave the LED as it is.
    std::optional<LedColour> colour;
    /// The hand has been held long enough: run the button's sequence unless a button is busy.
    bool pressed = false;
    /// No hand is there: the button is not busy any more.
    bool released = false;

    friend bool operator==(const ProximityDecision&, const ProximityDecision&) = default;
};

/// Tells a hand from the background. The background is the mean of the last ten readings without a
/// hand; a reading that is far enough above it is a hand. A button's thread owns the baseline,
/// feeds it each reading of its `SensorFile` and carries out the decision: it shows the colour with
/// `setLed` and runs the sequence. Free of I/O and time.
class ProximityBaseline {
public:
    static constexpr std::size_t length = 10;
    /// Raw sensor units above the background from which on a hand is near.
    static constexpr std::int64_t margin = 3000;
    /// A press needs more consecutive near readings than these.
    static constexpr std::uint32_t maxTouchReadings = 10;

    /// `samples` is the button's own list and must remain live; it may hold readings already.
    explicit ProximityBaseline(std::deque<std::int32_t>& samples);

    ProximityDecision take(std::int32_t reading);

    /// After a run: the next readings form a new background, hand or not.
    void restart();

private:
    [[nodiscard]] bool isNear(std::int32_t reading) const;
    void fill(std::int32_t reading);
    ProximityDecision takeFar(std::int32_t reading);
    ProximityDecision takeNear();

    std::deque<std::int32_t>& samples;
    /// Sum of the samples, in a wider type so that no reading can overflow it.
    std::int64_t sum = 0;
    std::uint32_t nearCount = 0;
};

} // namespace Quarlen

#include "kel_server_lib/sequence/ButtonWorker.hpp"

#include <chrono>

#include "kel_server_lib/devices/ProximityBaseline.hpp"
#include "kel_server_lib/devices/SensorFile.hpp"
#include "kel_server_lib/devices/StatusLed.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"

namespace Quarlen {

namespace {

using namespace std::chrono_literals;

constexpr auto timeBetweenReadings = 200ms;

/// Acts on what the baseline decides for one button.
class Button {
public:
    Button(ServerHandlerSequence& handler, ButtonSlot& own, const ButtonSlot& other)
        : handler(handler), own(own), other(other), baseline(own.samples) {}

    void take(std::int32_t reading) {
        const ProximityDecision decision = baseline.take(reading);
        if (decision.colour && !other.busy) {
            show(*decision.colour);
        }
        if (decision.released) {
            own.busy = false;
        }
        // The other button may have become busy while the colour was written.
        if (decision.pressed && handler.makeBusy(own)) {
            runBoundSequence();
        }
    }

private:
    /// The button stays busy until the hand is taken away.
    void runBoundSequence() {
        show(LedColours::running);
        handler.runSequence(own.scriptName, own.api, own.endRequest.get_token());
        baseline.restart();
    }

    void show(const LedColour& colour) const { handler.environment.showColour(colour); }

    ServerHandlerSequence& handler;
    ButtonSlot& own;
    const ButtonSlot& other;
    ProximityBaseline baseline;
};

} // namespace

void buttonWorker(ServerHandlerSequence& handler, int button) {
    const bool isF1 = button == 1;
    const DevicePaths& devices = handler.environment.devices;
    SensorFile sensor(isF1 ? devices.f1Sensor : devices.f2Sensor);
    if (!sensor.readLine()) {
        return;
    }
    ButtonSlot& own = isF1 ? handler.f1 : handler.f2;
    Button watched(handler, own, isF1 ? handler.f2 : handler.f1);
    while (!handler.stopRequested && !own.endRequest.stop_requested()) {
        if (const auto line = sensor.readLine()) {
            watched.take(sensorReading(*line));
        }
        handler.environment.clock.sleepFor(timeBetweenReadings);
    }
}

} // namespace Quarlen

#pragma once

#include <string>

#include "platform/DeviceFiles.hpp"

namespace Quarlen {

/// The files of the device's LED and proximity sensors. Missing files are ignored without a report,
/// so that the same program runs on machines without them; a system that has no such files has no
/// path for them either.
struct DevicePaths {
    /// Followed by "red/brightness", "green/brightness" and "blue/brightness".
    std::string ledPrefix = Platform::deviceFile("/sys/class/leds/2.");
    /// The crossed order is right for the device: button F1 has sensor 1, button F2 sensor 0.
    std::string f1Sensor =
        Platform::deviceFile("/sys/bus/iio/devices/iio:device1/in_proximity1_raw");
    std::string f2Sensor =
        Platform::deviceFile("/sys/bus/iio/devices/iio:device1/in_proximity0_raw");
};

} // namespace Quarlen

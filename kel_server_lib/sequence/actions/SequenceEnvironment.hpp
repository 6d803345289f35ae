#pragma once

#include <functional>
#include <string>

#include "kel_server_lib/devices/DevicePaths.hpp"
#include "kel_server_lib/devices/StatusLed.hpp"
#include "platform/Clock.hpp"
#include "platform/Console.hpp"
#include "std_util/PathString.hpp"
#include "std_util/SystemInformation.hpp"

namespace Quarlen {

/// The parts of the outside world that a sequence uses, with the production defaults.
struct SequenceEnvironment {
    Platform::Clock& clock = Platform::systemClock();
    Platform::Console& console = Platform::standardConsole();
    DevicePaths devices;
    StdUtil::PathString configPath = StdUtil::SystemInformation::getConfigPath();
    std::function<void(const std::string& prefix, const LedColour&)> writeLed = setLed;

    void showColour(const LedColour& colour) const { writeLed(devices.ledPrefix, colour); }
};

} // namespace Quarlen

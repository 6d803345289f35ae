#pragma once

#include <string>

#include "kel_server_lib/runtime/HardwareType.hpp"

namespace Quarlen {

/// A value without a name gives a sentence that says so: the banner shows it as the device.
std::wstring hardwareTypeText(Kel_cpp::HardwareType type);

} // namespace Quarlen

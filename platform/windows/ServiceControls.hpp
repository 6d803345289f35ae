#pragma once

#include <windows.h>

#include "platform/windows/ServiceStates.hpp"

namespace Quarlen::Platform {

/// Lets the service manager send its controls to `states`, and gives what it is to be told with.
/// Throws `std::system_error` where it refuses. `states` must never be destroyed.
SERVICE_STATUS_HANDLE takeServiceControls(const wchar_t* service, ServiceStates& states);

} // namespace Quarlen::Platform

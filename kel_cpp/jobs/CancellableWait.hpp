#pragma once

#include <chrono>
#include <stop_token>

#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// Waits on the clock for the whole duration. A cancel ends the wait at once:
/// throws `Uds::Cancelled`.
void waitUnlessCancelled(Platform::Clock& clock, std::chrono::milliseconds duration,
                         const std::stop_token& cancel);

} // namespace Quarlen::Kel_cpp

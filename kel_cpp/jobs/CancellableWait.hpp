#pragma once

#include <chrono>
#include <stop_token>

#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// Waits on the clock for the whole duration. Throws `Uds::Cancelled` within 10 ms of a cancel.
void waitUnlessCancelled(Platform::Clock& clock, std::chrono::milliseconds duration,
                         const std::stop_token& cancel);

} // namespace Quarlen::Kel_cpp

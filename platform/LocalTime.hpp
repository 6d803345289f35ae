#pragma once

#include <ctime>

namespace Quarlen::Platform {

/// The moment as calendar fields in the machine's time zone. May be called from any thread.
/// All fields are 0 for a moment that the system cannot express.
std::tm localTime(std::time_t moment);

} // namespace Quarlen::Platform

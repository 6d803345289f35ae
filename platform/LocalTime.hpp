#pragma once

#include <chrono>
#include <ctime>

namespace Quarlen::Platform {

/// The moment as calendar fields in the machine's time zone; on Windows that of its settings,
/// whatever an environment variable TZ says, which is meant for other programs there. May be called
/// from any thread. All fields are 0 for a moment that the system cannot express; whether daylight
/// saving time is on is not told everywhere.
std::tm localTime(std::time_t moment);

/// How far local time is ahead of UTC at a moment, whose `localTime` is given.
std::chrono::minutes offsetFromUtc(const std::tm& local, std::time_t moment);

} // namespace Quarlen::Platform

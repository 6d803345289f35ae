#pragma once

#include <chrono>
#include <memory>
#include <stop_token>
#include <thread>

#include "kel_cpp/vehicle/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// Keeps the session of one control unit alive, and with it what security access has unlocked, by
/// sending tester present (ISO 14229-1 clause 10.7) at an interval below the session timeout S3.
/// Ends with its destructor, within one exchange. The control unit then falls back to its default
/// session by itself when S3 has run out: a job that still uses the session is not disturbed.
class HeldUnlock {
public:
    HeldUnlock(std::unique_ptr<VehicleLink> link, std::chrono::milliseconds interval);
    HeldUnlock(const HeldUnlock&) = delete;
    HeldUnlock& operator=(const HeldUnlock&) = delete;
    ~HeldUnlock() = default;

private:
    void keepAlive(const std::stop_token& stop, std::chrono::milliseconds interval);
    void sendTesterPresent();

    std::unique_ptr<VehicleLink> link;
    /// The last attempt failed; a failure is traced once, not at every interval.
    bool failing = false;
    /// Last, so that the thread has ended before what it uses goes.
    std::jthread thread;
};

} // namespace Quarlen::Kel_cpp

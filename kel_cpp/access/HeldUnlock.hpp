#pragma once

#include <chrono>
#include <memory>
#include <stop_token>
#include <thread>

#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// Keeps the diagnostic session and the unlocked security level of one control unit by sending
/// TesterPresent (ISO 14229-1 clause 10.7) at an interval below the session timeout S3. The
/// destructor stops the thread within one exchange and sends no session change: the control unit
/// returns to the default session when S3 has run out, so a job that still uses the session is not
/// disturbed.
class HeldUnlock {
public:
    HeldUnlock(std::unique_ptr<Uds::VehicleLink> link, std::chrono::milliseconds interval);
    HeldUnlock(const HeldUnlock&) = delete;
    HeldUnlock& operator=(const HeldUnlock&) = delete;
    ~HeldUnlock() = default;

private:
    void keepAlive(const std::stop_token& stop, std::chrono::milliseconds interval);
    void sendTesterPresent();

    std::unique_ptr<Uds::VehicleLink> link;
    /// True after a failed attempt, so that a failure is traced once and not at every interval.
    bool failing = false;
    /// Declared last, so that the thread ends before the other members are destroyed.
    std::jthread thread;
};

} // namespace Quarlen::Kel_cpp

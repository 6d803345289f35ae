#pragma once

#include <algorithm>
#include <functional>

#include "tests/support/FakeClock.hpp"

namespace Quarlen::Tests {

/// A fake clock for both ends of a real network: its time only moves on when nothing is under way
/// between them any more.
class NetworkClock : public FakeClock {
public:
    struct Network {
        /// Returns once everything that was sent has arrived and has been dealt with.
        std::function<void()> settle = [] {};
        /// When the other side sends something next; the end of time for nothing.
        std::function<TimePoint()> nextDue = [] { return TimePoint::max(); };
        std::function<void()> sendDue = [] {};
    };

    /// Not while anybody waits.
    void attach(Network newNetwork) { network = std::move(newNetwork); }

    bool waitUntil(const Wait& wait, const std::function<bool()>& ready) override {
        for (;;) {
            wait.lock.unlock();
            network.sendDue();
            network.settle();
            const TimePoint due = network.nextDue();
            wait.lock.lock();
            if (ready() || wait.cancel.stop_requested() || now() >= wait.deadline) {
                return ready();
            }
            FakeClock::waitUntil(
                {wait.lock, wait.changed, wait.cancel, std::min(wait.deadline, due)}, ready);
        }
    }

private:
    Network network;
};

} // namespace Quarlen::Tests

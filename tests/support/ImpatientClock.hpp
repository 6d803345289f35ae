#pragma once

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "platform/Clock.hpp"

namespace Quarlen::Tests {

/// The real clock without its long pauses. A wait that does not end fails its test.
class ImpatientClock : public Platform::Clock {
public:
    void sleepFor(std::chrono::milliseconds /*duration*/) override {
        if (++sleeps > maxSleeps) {
            throw std::runtime_error("a wait did not end");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    [[nodiscard]] TimePoint now() const override { return std::chrono::steady_clock::now(); }

private:
    static constexpr int maxSleeps = 20'000;
    std::atomic<int> sleeps{0};
};

} // namespace Quarlen::Tests

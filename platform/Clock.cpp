#include "platform/Clock.hpp"

#include <thread>

namespace Quarlen::Platform {
namespace {

class SystemClock final : public Clock {
public:
    void sleepFor(std::chrono::milliseconds duration) override {
        std::this_thread::sleep_for(duration);
    }
    [[nodiscard]] TimePoint now() const override { return std::chrono::steady_clock::now(); }
};

} // namespace

bool Clock::waitUntil(const Wait& wait, const std::function<bool()>& ready) {
    // A system sleeps some time also where none is left.
    if (now() >= wait.deadline) {
        return ready();
    }
    return wait.changed.wait_until(wait.lock, wait.cancel, wait.deadline, ready);
}

Clock& systemClock() {
    // Never destroyed: detached threads may still sleep while the process ends.
    static Clock& clock = *new SystemClock;
    return clock;
}

} // namespace Quarlen::Platform

#include "kel_cpp/jobs/CancellableWait.hpp"

#include "uds/LinkError.hpp"

namespace Quarlen::Kel_cpp {

void waitUnlessCancelled(Platform::Clock& clock, std::chrono::milliseconds duration,
                         const std::stop_token& cancel) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    clock.waitUntil({lock, never, cancel, clock.now() + duration}, [] { return false; });
    if (cancel.stop_requested()) {
        throw Uds::Cancelled();
    }
}

} // namespace Quarlen::Kel_cpp

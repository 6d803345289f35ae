#include "kel_cpp/jobs/CancellableWait.hpp"

#include <algorithm>

#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

void waitUnlessCancelled(Platform::Clock& clock, std::chrono::milliseconds duration,
                         const std::stop_token& cancel) {
    using std::chrono::milliseconds;
    constexpr milliseconds slice{10};
    const auto end = clock.now() + duration;
    for (auto now = clock.now(); now < end; now = clock.now()) {
        if (cancel.stop_requested()) {
            throw Uds::Cancelled();
        }
        clock.sleepFor(std::min(slice, std::chrono::ceil<milliseconds>(end - now)));
    }
}

} // namespace Quarlen::Kel_cpp

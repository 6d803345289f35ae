#include "kel_server/KeyboardThread.hpp"

#include <utility>

namespace Quarlen {

namespace {

void waitForStopKey(Platform::KeyReader& keys, std::atomic<bool>& stopRequested) {
    while (const auto key = keys.readKey()) {
        if (*key == 'q') {
            stopRequested.exchange(true);
            return;
        }
    }
}

} // namespace

void startKeyboardThread(std::shared_ptr<std::atomic<bool>> stopRequested,
                         const ApplicationEnvironment& environment) {
    auto keys = environment.openKeys();
    // The text includes its line end; the key works without Enter, although the text asks for it.
    environment.console.text("Enter 'q' and Enter to exit\n");
    environment.startDetachedThread(
        [keys = std::shared_ptr(std::move(keys)), stopRequested = std::move(stopRequested)] {
            waitForStopKey(*keys, *stopRequested);
        });
}

} // namespace Quarlen

#include "kel_server/KeyboardThread.hpp"

#include <utility>

#include "platform/DetachedThread.hpp"

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
                         const std::function<std::unique_ptr<Platform::KeyReader>()>& openKeys,
                         Platform::Console& console) {
    auto keys = openKeys();
    // The text brings its own line end; Enter is not needed, whatever it says.
    console.text("Enter 'q' and Enter to exit\n");
    Platform::startDetachedThread(
        [keys = std::shared_ptr(std::move(keys)), stopRequested = std::move(stopRequested)] {
            waitForStopKey(*keys, *stopRequested);
        });
}

} // namespace Quarlen

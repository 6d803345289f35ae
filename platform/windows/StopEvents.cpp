#include "platform/windows/StopEvents.hpp"

#include <utility>

namespace Quarlen::Platform {

StopEvents::StopEvents(std::shared_ptr<std::atomic<bool>> stopRequested)
    : stopRequested(std::move(stopRequested)) {}

StopEvents::Answer StopEvents::onEvent(DWORD event) noexcept {
    const bool isKey = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    if (isKey && stopAsked.exchange(true)) {
        return Answer::EndAtOnce;
    }
    stopRequested->exchange(true);
    return isKey ? Answer::GoOn : Answer::WaitForTheEnd;
}

} // namespace Quarlen::Platform

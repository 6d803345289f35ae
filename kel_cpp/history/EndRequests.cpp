#include "kel_cpp/history/EndRequests.hpp"

#include <algorithm>

namespace Quarlen::Kel_cpp {

void EndRequests::statusSet(const StatusEntry& status) {
    const bool isCancel = status.text == L"Running cancel sequence";
    const bool begins = isCancel || status.text == L"Running abort sequence";
    const auto thread = std::this_thread::get_id();
    if (begins || status.text == L"Idle") {
        std::erase_if(requests, [&](const Request& request) { return request.thread == thread; });
    }
    if (begins) {
        requests.push_back({thread, status.time, isCancel});
    }
}

bool EndRequests::projectDeselected() {
    const auto own = std::find_if(requests.begin(), requests.end(), [](const Request& request) {
        return request.thread == std::this_thread::get_id();
    });
    if (own == requests.end()) {
        return false;
    }
    if (own->isCancel) {
        cancelled = own->time;
    }
    return true;
}

} // namespace Quarlen::Kel_cpp

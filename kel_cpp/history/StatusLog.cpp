#include "kel_cpp/history/StatusLog.hpp"

#include <utility>

namespace Quarlen::Kel_cpp {

StatusLog::StatusLog(Now now) : now(std::move(now)) {
    last.time = this->now();
}

void StatusLog::set(std::wstring text) {
    const std::lock_guard lock(mutex);
    last = {std::move(text), now(), last.number + 1};
    kept.push_back(last);
    if (kept.size() > maxKept) {
        kept.pop_front();
    }
    for (const Listener& listener : listeners) {
        listener(last);
    }
}

StatusEntry StatusLog::current() const {
    const std::lock_guard lock(mutex);
    return last;
}

std::vector<StatusEntry> StatusLog::latest() const {
    const std::lock_guard lock(mutex);
    return {kept.begin(), kept.end()};
}

void StatusLog::listen(Listener listener) {
    const std::lock_guard lock(mutex);
    listeners.push_back(std::move(listener));
}

} // namespace Quarlen::Kel_cpp

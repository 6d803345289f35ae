#include "std_util/ErrorHandler.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace StdUtil::ErrorHandler {
namespace {

struct Subscription {
    explicit Subscription(std::shared_ptr<TraceListener> listener)
        : listener(std::move(listener)) {}

    std::shared_ptr<TraceListener> listener;
    /// Cleared by removal, which may happen while a line is being handed out.
    bool active = true;
    /// True while the listener works: a trace that it causes itself is not delivered to it.
    bool busy = false;
};

/// One lock for all deliveries: every listener sees the lines in the same order, one at a time. It
/// is recursive because a listener may trace, remove itself or add another one.
struct Switchboard {
    std::recursive_mutex mutex;
    std::vector<std::shared_ptr<Subscription>> subscriptions;
    std::atomic<std::size_t> count{0};
    std::atomic<int> level{static_cast<int>(TraceLevel::Info)};
};

Switchboard& switchboard() {
    // Never destroyed: detached threads may still trace while the process ends.
    static Switchboard& instance = *new Switchboard;
    return instance;
}

auto findSubscription(Switchboard& board, const std::shared_ptr<TraceListener>& listener) {
    return std::find_if(
        board.subscriptions.begin(), board.subscriptions.end(),
        [&listener](const auto& subscription) { return subscription->listener == listener; });
}

void deliver(Subscription& subscription, const TraceLine& line) {
    if (!subscription.active || subscription.busy) {
        return;
    }
    subscription.busy = true;
    try {
        subscription.listener->onTrace(line);
    } catch (...) {
        // A trace that cannot be written must not disturb the code that traces.
    }
    subscription.busy = false;
}

} // namespace

void addListener(std::shared_ptr<TraceListener> listener) {
    Switchboard& board = switchboard();
    const std::lock_guard lock(board.mutex);
    if (listener == nullptr || findSubscription(board, listener) != board.subscriptions.end()) {
        return;
    }
    board.subscriptions.push_back(std::make_shared<Subscription>(std::move(listener)));
    board.count = board.subscriptions.size();
}

void removeListener(const std::shared_ptr<TraceListener>& listener) {
    Switchboard& board = switchboard();
    std::shared_ptr<Subscription> removed; // released after the lock
    const std::lock_guard lock(board.mutex);
    const auto found = findSubscription(board, listener);
    if (found == board.subscriptions.end()) {
        return;
    }
    removed = *found;
    removed->active = false;
    board.subscriptions.erase(found);
    board.count = board.subscriptions.size();
}

std::size_t listenerCount() {
    return switchboard().count;
}

int debugTraceLevel() {
    return switchboard().level;
}

void setDebugTraceLevel(int level) {
    switchboard().level = level;
}

void dispatch(const TraceLine& line) {
    Switchboard& board = switchboard();
    std::vector<std::shared_ptr<Subscription>> receivers; // released after the lock
    const std::lock_guard lock(board.mutex);
    receivers = board.subscriptions;
    for (const auto& receiver : receivers) {
        deliver(*receiver, line);
    }
}

} // namespace StdUtil::ErrorHandler

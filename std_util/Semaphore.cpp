#include "std_util/Semaphore.hpp"

#include <stdexcept>

namespace StdUtil {

Semaphore::Semaphore(const wchar_t* name, bool shared, std::int32_t mode, bool inherit) {
    const bool named = name != nullptr && *name != L'\0';
    if (named || shared || mode != -1 || inherit) {
        throw std::invalid_argument("only unnamed semaphores of the default mode are supported");
    }
}

void Semaphore::lock() {
    std::unique_lock guard(mutex);
    freed.wait(guard, [this] { return isFreeForCaller(); });
    take();
}

bool Semaphore::try_lock() {
    const std::lock_guard guard(mutex);
    if (!isFreeForCaller()) {
        return false;
    }
    take();
    return true;
}

bool Semaphore::lockOrGiveUp(const std::stop_token& giveUp) {
    std::unique_lock guard(mutex);
    if (!isFreeForCaller()) {
        freed.wait(guard, giveUp, [this] { return isFreeForCaller(); });
        if (giveUp.stop_requested()) {
            return false;
        }
    }
    take();
    return true;
}

void Semaphore::unlock() {
    const std::lock_guard guard(mutex);
    if (--depth == 0) {
        // All waiters are woken: if only one were, it might be giving up just then.
        freed.notify_all();
    }
}

bool Semaphore::isFreeForCaller() const {
    return depth == 0 || owner == std::this_thread::get_id();
}

void Semaphore::take() {
    owner = std::this_thread::get_id();
    ++depth;
}

} // namespace StdUtil

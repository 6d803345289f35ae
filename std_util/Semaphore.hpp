#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <thread>

namespace StdUtil {

/// The part of a semaphore that this program uses: an unnamed semaphore that serves as a lock
/// (Lockable, so it works with `std::lock_guard`). The thread that holds it may take it again, and
/// it is free once that thread has unlocked it as often.
class Semaphore {
public:
    /// Only the unnamed form exists here; a name, `shared` or another mode throws
    /// `std::invalid_argument`.
    explicit Semaphore(const wchar_t* name = nullptr, bool shared = false, std::int32_t mode = -1,
                       bool inherit = false);

    void lock();
    bool try_lock();
    void unlock();
    /// Like `lock`, but a wait ends with false, without the lock, once `giveUp` is requested. A
    /// caller that does not have to wait gets the lock in any case.
    [[nodiscard]] bool lockOrGiveUp(const std::stop_token& giveUp);

private:
    [[nodiscard]] bool isFreeForCaller() const;
    void take();

    /// Guards the owner and the depth; held for moments only.
    std::mutex mutex;
    std::condition_variable_any freed;
    std::thread::id owner;
    std::uint32_t depth = 0;
};

} // namespace StdUtil

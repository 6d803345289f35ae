#pragma once

#include <cstdint>
#include <mutex>

namespace StdUtil {

/// As far as this program uses it: an unnamed semaphore whose internal critical section serves as
/// a lock (Lockable, so it works with `std::lock_guard`).
class Semaphore {
public:
    /// Only the unnamed form exists here; a name, `shared` or another mode throws
    /// `std::invalid_argument`.
    explicit Semaphore(const wchar_t* name = nullptr, bool shared = false, std::int32_t mode = -1,
                       bool inherit = false);

    void lock();
    bool try_lock();
    void unlock();

private:
    std::mutex criticalSection;
};

} // namespace StdUtil

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
    criticalSection.lock();
}

bool Semaphore::try_lock() {
    return criticalSection.try_lock();
}

void Semaphore::unlock() {
    criticalSection.unlock();
}

} // namespace StdUtil

#pragma once

#include <functional>

namespace Quarlen::Platform {

/// Runs `work` on a thread of its own that nobody waits for; it must not throw and has to own all
/// that it touches. Throws `std::system_error` when the thread cannot be created.
void startDetachedThread(std::function<void()> work);

} // namespace Quarlen::Platform

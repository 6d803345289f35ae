#pragma once

#include <functional>

namespace Quarlen::Platform {

/// Runs `work` on a thread of its own that is never joined. `work` must not throw and has to own
/// everything that it uses. Throws `std::system_error` when the thread cannot be created.
void startDetachedThread(std::function<void()> work);

} // namespace Quarlen::Platform

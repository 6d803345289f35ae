#pragma once

#include <cstdint>
#include <functional>

namespace Quarlen::Platform {

/// `_beginthreadex` with a stack of the default size: the handle of the new thread, 0 when there is
/// none.
using BeginThread =
    std::function<std::uintptr_t(unsigned int(__stdcall* begin)(void*), void* argument)>;

/// `startDetachedThread` on top of any such call. Whatever keeps the system from making the thread
/// is told as `resource_unavailable_try_again`.
void startDetachedThreadWith(const BeginThread& beginThread, std::function<void()> work);

} // namespace Quarlen::Platform

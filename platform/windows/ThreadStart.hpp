#pragma once

#include <cstdint>
#include <functional>

namespace Quarlen::Platform {

/// `_beginthreadex` with a stack of the default size: the handle of the new thread, 0 when there is
/// none.
using BeginThread =
    std::function<std::uintptr_t(unsigned int(__stdcall* begin)(void*), void* argument)>;

/// `startDetachedThread` by means of `beginThread`. Any failure of the system to make the thread is
/// thrown as `resource_unavailable_try_again`.
void startDetachedThreadWith(const BeginThread& beginThread, std::function<void()> work);

} // namespace Quarlen::Platform

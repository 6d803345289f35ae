#include "platform/DetachedThread.hpp"

#include <memory>
#include <process.h>
#include <system_error>
#include <utility>
#include <windows.h>

#include "platform/windows/ThreadStart.hpp"

namespace Quarlen::Platform {
namespace {

using Work = std::function<void()>;

unsigned int __stdcall run(void* owned) {
    const std::unique_ptr<Work> work(static_cast<Work*>(owned));
    (*work)();
    return 0;
}

} // namespace

void startDetachedThreadWith(const BeginThread& beginThread, std::function<void()> work) {
    auto owned = std::make_unique<Work>(std::move(work));
    const std::uintptr_t handle = beginThread(run, owned.get());
    if (handle == 0) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                                "thread");
    }
    static_cast<void>(owned.release()); // the thread's from now on
    ::CloseHandle(reinterpret_cast<HANDLE>(handle));
}

// A detached std::thread does not serve: with mingw-w64 it may never begin when it is detached as
// it begins, or crash when it is detached as it ends.
void startDetachedThread(std::function<void()> work) {
    startDetachedThreadWith(
        [](unsigned int(__stdcall * begin)(void*), void* argument) {
            return ::_beginthreadex(nullptr, 0, begin, argument, 0, nullptr);
        },
        std::move(work));
}

} // namespace Quarlen::Platform

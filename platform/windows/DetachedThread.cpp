#include "platform/DetachedThread.hpp"

#include <cerrno>
#include <memory>
#include <process.h>
#include <system_error>
#include <utility>
#include <windows.h>

namespace Quarlen::Platform {
namespace {

using Work = std::function<void()>;

unsigned int __stdcall run(void* owned) {
    const std::unique_ptr<Work> work(static_cast<Work*>(owned));
    (*work)();
    return 0;
}

} // namespace

// Not a std::thread that is detached: with mingw-w64 such a thread may never begin, or crash at its
// end, when it is detached just then.
void startDetachedThread(std::function<void()> work) {
    auto owned = std::make_unique<Work>(std::move(work));
    const std::uintptr_t handle = ::_beginthreadex(nullptr, 0, run, owned.get(), 0, nullptr);
    if (handle == 0) {
        throw std::system_error(errno, std::generic_category(), "thread");
    }
    static_cast<void>(owned.release()); // the thread's from now on
    ::CloseHandle(reinterpret_cast<HANDLE>(handle));
}

} // namespace Quarlen::Platform

#include "platform/FlushFile.hpp"

#include <system_error>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {
namespace {

[[noreturn]] void fail(DWORD error) {
    throw std::system_error(static_cast<int>(error), std::system_category());
}

} // namespace

void flushFile(const std::filesystem::path& file) {
    const HANDLE handle = ::CreateFileW(extendedPath(file).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        fail(::GetLastError());
    }
    const DWORD failure = ::FlushFileBuffers(handle) != FALSE ? ERROR_SUCCESS : ::GetLastError();
    ::CloseHandle(handle);
    if (failure != ERROR_SUCCESS) {
        fail(failure);
    }
}

} // namespace Quarlen::Platform

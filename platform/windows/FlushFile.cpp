#include "platform/FlushFile.hpp"

#include <system_error>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileReplacement.hpp"

namespace Quarlen::Platform {
namespace {

WindowsError flush(const std::filesystem::path& file) {
    const HANDLE handle = ::CreateFileW(extendedPath(file).c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return ::GetLastError();
    }
    const DWORD failure = ::FlushFileBuffers(handle) != FALSE ? ERROR_SUCCESS : ::GetLastError();
    ::CloseHandle(handle);
    return failure;
}

} // namespace

void flushFile(const std::filesystem::path& file, Clock& clock) {
    const WindowsError refusal = refusalOf(file);
    const WindowsError failure =
        refusal != ERROR_SUCCESS ? refusal : repeatWhileInUse([&] { return flush(file); }, clock);
    if (failure != ERROR_SUCCESS) {
        throw std::system_error(static_cast<int>(failure), std::system_category());
    }
}

} // namespace Quarlen::Platform

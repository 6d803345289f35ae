#include "platform/NewFile.hpp"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxWriteSize = 1U << 30U;

[[noreturn]] void throwLastError() {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
}

/// Closes the handle; removes the file unless it was finished.
class FileInCreation {
public:
    FileInCreation(std::wstring file, HANDLE handle) : file(std::move(file)), handle(handle) {}
    FileInCreation(const FileInCreation&) = delete;
    FileInCreation& operator=(const FileInCreation&) = delete;
    ~FileInCreation() {
        ::CloseHandle(handle);
        if (!finished) {
            ::DeleteFileW(file.c_str());
        }
    }

    void write(std::string_view content) const {
        while (!content.empty()) {
            const auto portion = static_cast<DWORD>(std::min(content.size(), maxWriteSize));
            DWORD written = 0;
            if (::WriteFile(handle, content.data(), portion, &written, nullptr) == 0) {
                throwLastError();
            }
            content.remove_prefix(written);
        }
    }

    void finish() {
        if (::FlushFileBuffers(handle) == 0) {
            throwLastError();
        }
        finished = true;
    }

private:
    std::wstring file;
    HANDLE handle;
    bool finished = false;
};

} // namespace

bool createNewFile(const std::filesystem::path& file, std::string_view content) {
    std::wstring name = extendedPath(file);
    const HANDLE handle = ::CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_FILE_EXISTS) {
        return false;
    }
    if (handle == INVALID_HANDLE_VALUE) {
        throwLastError();
    }
    FileInCreation created(std::move(name), handle);
    created.write(content);
    created.finish();
    return true;
}

} // namespace Quarlen::Platform

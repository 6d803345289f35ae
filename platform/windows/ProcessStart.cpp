#include "platform/ProcessStart.hpp"

#include <memory>
#include <windows.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {
namespace {

constexpr unsigned int bitsOfHalf = 32;

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};

std::string creationTime(HANDLE process) {
    FILETIME creation{};
    FILETIME exit{};
    FILETIME kernel{};
    FILETIME user{};
    if (::GetProcessTimes(process, &creation, &exit, &kernel, &user) == FALSE) {
        return {};
    }
    return std::to_string((std::uint64_t{creation.dwHighDateTime} << bitsOfHalf) |
                          creation.dwLowDateTime);
}

} // namespace

ProcessStart startOf(std::uint32_t process) {
    const std::unique_ptr<void, HandleClose> opened(
        ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    if (opened == nullptr) {
        // Any other failure says that there is such a process, which this user may not ask.
        return {::GetLastError() != ERROR_INVALID_PARAMETER, {}};
    }
    // One that has ended is still there while somebody keeps a handle.
    DWORD exitCode = STILL_ACTIVE;
    ::GetExitCodeProcess(opened.get(), &exitCode);
    return {exitCode == STILL_ACTIVE, creationTime(opened.get())};
}

std::uint32_t ownProcess() {
    return ::GetCurrentProcessId();
}

std::string machineName() {
    std::wstring name(MAX_COMPUTERNAME_LENGTH + 1, L'\0');
    auto length = static_cast<DWORD>(name.size());
    name.resize(::GetComputerNameW(name.data(), &length) != FALSE ? length : 0);
    return toUtf8(name);
}

} // namespace Quarlen::Platform

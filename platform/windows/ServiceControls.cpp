#include "platform/windows/ServiceControls.hpp"

#include <system_error>

namespace Quarlen::Platform {

namespace {

DWORD WINAPI onControl(DWORD control, DWORD, void*, void* states) {
    return static_cast<ServiceStates*>(states)->onControl(control);
}

} // namespace

SERVICE_STATUS_HANDLE takeServiceControls(const wchar_t* service, ServiceStates& states) {
    SERVICE_STATUS_HANDLE const manager =
        ::RegisterServiceCtrlHandlerExW(service, onControl, &states);
    if (manager == nullptr) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
    }
    return manager;
}

} // namespace Quarlen::Platform

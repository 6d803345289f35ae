#include "platform/windows/ServiceStates.hpp"

#include <utility>

namespace Quarlen::Platform {

namespace {

constexpr DWORD acceptedControls =
    SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PRESHUTDOWN;

bool isStop(DWORD control) {
    return control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN ||
           control == SERVICE_CONTROL_PRESHUTDOWN;
}

} // namespace

ServiceStates::ServiceStates(Tell tell, std::shared_ptr<std::atomic<bool>> stopRequested)
    : tell(std::move(tell)), stopRequested(std::move(stopRequested)) {
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
}

void ServiceStates::begin() {
    const std::lock_guard lock(mutex);
    setState(SERVICE_START_PENDING, waitHint);
}

void ServiceStates::started() {
    const std::lock_guard lock(mutex);
    if (status.dwCurrentState == SERVICE_START_PENDING) {
        setState(SERVICE_RUNNING, {});
    }
}

void ServiceStates::tick() {
    const std::lock_guard lock(mutex);
    if (status.dwCurrentState == SERVICE_STOPPED) {
        return;
    }
    const bool isStarting = status.dwCurrentState == SERVICE_START_PENDING;
    if (isStarting && ++startTicks >= maxStartTicks) {
        setState(SERVICE_RUNNING, {});
    } else if (!isStarting && stopRequested->load()) {
        stop(); // by another way, such as a client's request
    } else if (isPending()) {
        ++status.dwCheckPoint;
        report();
    }
}

void ServiceStates::ended(int exitCode) {
    const std::lock_guard lock(mutex);
    if (exitCode != 0) {
        status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
        status.dwServiceSpecificExitCode = static_cast<DWORD>(exitCode);
    }
    setState(SERVICE_STOPPED, {});
}

DWORD ServiceStates::onControl(DWORD control) {
    const std::lock_guard lock(mutex);
    if (status.dwCurrentState == SERVICE_STOPPED) {
        return NO_ERROR; // the manager has taken its handle back
    }
    if (control == SERVICE_CONTROL_INTERROGATE) {
        report();
        return NO_ERROR;
    }
    if (!isStop(control)) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    stopRequested->exchange(true);
    stop();
    return NO_ERROR;
}

void ServiceStates::stop() {
    if (status.dwCurrentState == SERVICE_STOP_PENDING) {
        ++status.dwCheckPoint;
        report();
    } else {
        setState(SERVICE_STOP_PENDING, waitHint);
    }
}

void ServiceStates::setState(DWORD state, std::chrono::milliseconds hint) {
    status.dwCurrentState = state;
    status.dwCheckPoint = isPending() ? 1 : 0;
    status.dwWaitHint = static_cast<DWORD>(hint.count());
    status.dwControlsAccepted = state == SERVICE_RUNNING ? acceptedControls : 0;
    report();
}

bool ServiceStates::isPending() const {
    return status.dwCurrentState == SERVICE_START_PENDING ||
           status.dwCurrentState == SERVICE_STOP_PENDING;
}

void ServiceStates::report() const {
    tell(status);
}

} // namespace Quarlen::Platform

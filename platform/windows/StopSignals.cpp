#include "platform/StopSignals.hpp"

#include <system_error>
#include <utility>

#include "platform/DetachedThread.hpp"
#include "platform/windows/ConsoleModes.hpp"
#include "platform/windows/StopEvents.hpp"

namespace Quarlen::Platform {
namespace {

/// Global, because the system's callbacks have no argument for it. Never destroyed: events come as
/// long as the process lives.
StopEvents* stopEvents = nullptr;

/// The end of the process ends this thread.
[[noreturn]] void waitForTheEnd() {
    while (true) {
        ::Sleep(INFINITE);
    }
}

/// The system calls it on a thread of its own.
BOOL WINAPI onConsoleEvent(DWORD event) {
    const StopEvents::Answer answer = stopEvents->onEvent(event);
    if (answer != StopEvents::Answer::GoOn) {
        consoleModes().giveBack(); // the system may end the process without a further word
    }
    if (answer == StopEvents::Answer::WaitForTheEnd) {
        waitForTheEnd();
    }
    return answer == StopEvents::Answer::GoOn ? TRUE : FALSE;
}

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM wide, LPARAM extra) {
    if (message == WM_QUERYENDSESSION) {
        return TRUE;
    }
    if (message == WM_ENDSESSION && wide != 0) {
        onConsoleEvent(CTRL_SHUTDOWN_EVENT);
    }
    return ::DefWindowProcW(window, message, wide, extra);
}

/// Opens an invisible window and handles its messages. The system tells a program that has loaded
/// the window library, which the shell's folders need, of log-off and shutdown by window messages
/// and not by console events. Where no window can be made there is no session that could end.
void watchSession() {
    WNDCLASSW kind{};
    kind.lpfnWndProc = onMessage;
    kind.hInstance = ::GetModuleHandleW(nullptr);
    kind.lpszClassName = L"kel_server session";
    if (::RegisterClassW(&kind) == 0 ||
        ::CreateWindowExW(0, kind.lpszClassName, L"kel_server", 0, 0, 0, 0, 0, nullptr, nullptr,
                          kind.hInstance, nullptr) == nullptr) {
        return;
    }
    MSG message{};
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        ::DispatchMessageW(&message);
    }
}

} // namespace

void raiseOnStopSignals(std::shared_ptr<std::atomic<bool>> stopRequested) {
    stopEvents = new StopEvents(std::move(stopRequested));
    leaveConsoleEventsToProgram();
    ::SetConsoleCtrlHandler(onConsoleEvent, TRUE);
    try {
        startDetachedThread(watchSession);
    } catch (const std::system_error&) {
        // Console events still come; a log-off then ends the process as it always would.
    }
}

} // namespace Quarlen::Platform

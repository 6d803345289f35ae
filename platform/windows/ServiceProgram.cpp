#include "platform/ServiceProgram.hpp"

#include <array>
#include <condition_variable>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <windows.h>

#include "platform/Console.hpp"
#include "platform/StopSignals.hpp"
#include "platform/SystemError.hpp"
#include "platform/SystemPaths.hpp"
#include "platform/TextEncoding.hpp"
#include "platform/windows/ServiceArguments.hpp"
#include "platform/windows/ServiceControls.hpp"
#include "platform/windows/ServiceStates.hpp"

namespace Quarlen::Platform {

namespace {

constexpr std::wstring_view serviceOption = L"--service";
constexpr int notStartedByTheManager = 1;

struct Service {
    std::vector<std::wstring> arguments;
    std::shared_ptr<std::atomic<bool>> stopRequested;
    const MainProgram& program;
    int exitCode = notStartedByTheManager;
};

/// Global, because the manager's callbacks have no argument for it.
Service* service = nullptr;
SERVICE_STATUS_HANDLE manager = nullptr;

/// Ticks until it is destroyed.
class Ticker {
public:
    explicit Ticker(ServiceStates& states) : states(states) {}
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;
    ~Ticker() {
        {
            const std::lock_guard lock(mutex);
            isEnding = true;
        }
        wakeUp.notify_all();
    }

private:
    void run() {
        std::unique_lock lock(mutex);
        while (!wakeUp.wait_for(lock, ServiceStates::tickInterval, [this] { return isEnding; })) {
            states.tick();
        }
    }

    ServiceStates& states;
    std::mutex mutex;
    std::condition_variable wakeUp;
    bool isEnding = false;
    std::jthread thread{[this] { run(); }};
};

int runWithTicks(ServiceStates& states) {
    const Ticker ticker(states);
    return service->program(service->arguments, [&states] { states.started(); });
}

/// The manager is told nothing more, not even that the service has stopped, so the dispatcher would
/// wait for ever. The end of the process tells it.
[[noreturn]] void endWithoutManager(const std::error_code& cause) {
    standardConsole().line("the service manager is not to be reached: " + toUtf8(errorText(cause)));
    ::ExitProcess(notStartedByTheManager);
}

/// The manager has the service's name as the first argument.
void WINAPI runService(DWORD, wchar_t** arguments) {
    // Never destroyed: a control may come until the process has ended.
    auto& states =
        *new ServiceStates([](SERVICE_STATUS status) { ::SetServiceStatus(manager, &status); },
                           service->stopRequested);
    try {
        manager = takeServiceControls(arguments[0], states);
    } catch (const std::system_error& refusal) {
        endWithoutManager(refusal.code());
    }
    states.begin();
    service->exitCode = runWithTicks(states);
    states.ended(service->exitCode);
}

/// A service has no user whose log-off could concern it, and the manager tells of a shutdown.
BOOL WINAPI ignoreSessionEvents(DWORD event) {
    return event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT ? TRUE : FALSE;
}

std::error_code lastError() {
    return {static_cast<int>(::GetLastError()), std::system_category()};
}

/// The system's own folder is the current one of a service.
void useOwnFolder() {
    ::SetCurrentDirectoryW(executablePath().parent_path().c_str());
}

int runAsService() {
    useOwnFolder();
    ::SetConsoleCtrlHandler(ignoreSessionEvents, TRUE);
    wchar_t anyName = L'\0';
    // The system takes the list up to an entry without a name.
    const std::array services{SERVICE_TABLE_ENTRYW{&anyName, runService},
                              SERVICE_TABLE_ENTRYW{nullptr, nullptr}};
    if (::StartServiceCtrlDispatcherW(services.data()) == 0) {
        const std::error_code cause = lastError(); // before the console asks the system, too
        standardConsole().line("--service is for the service manager: " + toUtf8(errorText(cause)));
    }
    return service->exitCode;
}

} // namespace

std::optional<std::vector<std::wstring>> serviceArguments(std::vector<std::wstring> arguments) {
    if (std::erase(arguments, serviceOption) == 0) {
        return std::nullopt;
    }
    arguments.emplace_back(L"--non_interactive");
    return arguments;
}

int runServiceProgram(const std::vector<std::wstring>& arguments,
                      const std::shared_ptr<std::atomic<bool>>& stopRequested,
                      const MainProgram& program) {
    auto texts = serviceArguments(arguments);
    if (!texts) {
        raiseOnStopSignals(stopRequested);
        return program(arguments, [] {});
    }
    Service asked{std::move(*texts), stopRequested, program};
    service = &asked;
    return runAsService();
}

} // namespace Quarlen::Platform

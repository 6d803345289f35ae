#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <windows.h>

namespace Quarlen::Platform {

/// What the service manager is told, from the start to the end: start pending, running, stop
/// pending, stopped. Pending states tell a new checkpoint at each tick, so that the manager sees
/// that the service is at work. Any thread may call; the manager is told in the order of the calls.
class ServiceStates {
public:
    using Tell = std::function<void(const SERVICE_STATUS& status)>;

    /// How often `tick` is to be called.
    static constexpr std::chrono::milliseconds tickInterval{1000};
    /// The manager may take a service for hung after this time without a checkpoint.
    static constexpr std::chrono::milliseconds waitHint{10000};
    /// A service that is still starting cannot be stopped, and the start may wait for the network
    /// without limit: after so many ticks it counts as running.
    static constexpr int maxStartTicks = 20;

    ServiceStates(Tell tell, std::shared_ptr<std::atomic<bool>> stopRequested);

    void begin();
    /// The program is up.
    void started();
    void tick();
    /// The last call. An exit code other than 0 is told as the service's own error.
    void ended(int exitCode);

    /// Answers a control of the manager. A stop, a shutdown of the system or its announcement raise
    /// the flag.
    DWORD onControl(DWORD control);

private:
    void setState(DWORD state, std::chrono::milliseconds hint);
    void stop();
    [[nodiscard]] bool isPending() const;
    void report() const;

    std::mutex mutex;
    Tell tell;
    std::shared_ptr<std::atomic<bool>> stopRequested;
    SERVICE_STATUS status{};
    int startTicks = 0;
};

} // namespace Quarlen::Platform

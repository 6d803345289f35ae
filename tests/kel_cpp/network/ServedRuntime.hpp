#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "kel_cpp/network/RuntimeServer.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// What a server serves in tests: a model whose answers the test sets, and the two logs. A start
/// waits until the test lets it go on.
struct ServedRuntime {
    StatusLog statuses;
    RunLog runs;
    ClientSettings settings;
    std::vector<std::wstring> scripts{L"One.xml", L"Two.xml"};
    std::function<bool(const std::wstring&, const std::wstring&)> start =
        [](const auto&, const auto&) { return true; };
    std::function<bool(const std::wstring&)> cancel = [](const auto&) { return true; };
    /// Called on the I/O thread.
    std::function<std::wstring()> version = [] { return std::wstring(L"1.2.3"); };
    std::vector<std::wstring> connections;
    std::vector<ReportFile> reports;
    std::function<std::string(const std::wstring&)> report = [](const std::wstring&) {
        return std::string("<p>report</p>");
    };

    /// The system keeps less for a client than `largeStatus`, and no time limit ends one.
    void keepLittleUnsent() {
        settings.sendBuffer = 4096;
        settings.handshakeTime = std::chrono::hours(1);
        settings.limits.maxIdle = std::chrono::hours(1);
    }

    RuntimeServer::Sources sources(Platform::AddressProbe probe = {}) {
        ServerModel model;
        model.version = [this] { return version(); };
        model.scripts = [this] { return scripts; };
        model.startSequence = [this](const auto& name, const auto& client) {
            return start(name, client);
        };
        model.cancelSequence = [this](const auto& client) { return cancel(client); };
        model.projects = [] { return std::vector<std::wstring>{L"Car_A"}; };
        model.connections = [this] { return connections; };
        model.vehicle = [] { return VehicleState{L"Car_A", L"VIT_A", L"Simulation"}; };
        model.reports = [this] { return reports; };
        model.report = [this](const std::wstring& name) { return report(name); };
        return {std::move(model), statuses, runs, [this] { return settings; }, std::move(probe)};
    }
};

/// More than the buffers of a client that reads late and of its server hold where both are small.
inline std::wstring largeStatus() {
    return std::wstring(50'000, L'x');
}

/// A door that tasks wait at until the test opens it.
class Gate {
public:
    void open() {
        const std::lock_guard lock(mutex);
        isOpen = true;
        changed.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex);
        ++waiting;
        changed.notify_all();
        changed.wait(lock, [this] { return isOpen; });
    }
    void awaitWaiting(int count) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return waiting >= count; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    int waiting = 0;
};

} // namespace Quarlen::Kel_cpp::Tests

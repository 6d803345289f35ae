#include <utility>

#include "kel_cpp/ComponentVersions.hpp"
#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/history/RunGuards.hpp"
#include "kel_cpp/network/ListenAddress.hpp"
#include "kel_cpp/update/UpdatePackages.hpp"
#include "kel_server_lib/runtime/ServerHandler.hpp"
#include "platform/OperatingSystem.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::shared_ptr<ActiveConnection> connection(std::wstring description) {
    auto entry = std::make_shared<ActiveConnection>();
    entry->description = std::move(description);
    return entry;
}

HardwareType hardwareType(Platform::OperatingSystemKind kind) {
    return kind == Platform::OperatingSystemKind::Windows ? HardwareType::Windows
                                                          : HardwareType::Linux;
}

SovdModel::Component component(const ProjectTarget& controlUnit) {
    const std::string name = Platform::toUtf8(controlUnit.name);
    return {name, name};
}

} // namespace

std::wstring Runtime::startServer(const std::wstring& address) {
    return guarded(L"startServer", [&] {
        requireFixedPort(address);
        std::wstring opened = server.start(address);
        isShuttingDown = false;
        return opened;
    });
}

void Runtime::stopServer(const std::wstring& address) {
    guarded(L"stopServer", [&] { server.stop(address); });
}

void Runtime::getActiveConnections(RecordList<ActiveConnection>& connections) {
    guarded(L"getActiveConnections", [&] {
        connections.clear();
        for (const auto& client : server.clients()) {
            connections.push_back(connection(L"client " + client));
        }
        const SelectedVehicle vehicle = selection.current();
        if (vehicle.access && vehicle.access->isOpen()) {
            connections.push_back(
                connection(connectionText(vehicle, vehicle.access->interfaceName())));
        }
        const std::lock_guard lock(mutex);
        if (!underWay.empty()) {
            connections.push_back(connection(underWay + L", being opened"));
        }
    });
}

void Runtime::setServerHandler(std::shared_ptr<ServerHandler> handler) {
    guarded(L"setServerHandler", [&] {
        const std::lock_guard lock(mutex);
        serverHandler.swap(handler);
        // `handler` is now the former handler. It is released after the lock, because its
        // destructor may call back.
    });
}

void Runtime::setServerStatus(const std::wstring& text) {
    guarded(L"setServerStatus", [&] {
        StdUtil::TraceHelper::InfoTrace(L"kel_cpp/Runtime", __LINE__, L"server status: %s",
                                        text.c_str());
        if (text == L"Shutting down") {
            isShuttingDown = true;
        }
        statuses.set(text);
    });
}

StatusEntry Runtime::serverStatus() const {
    return statuses.current();
}

std::optional<RunEntry> Runtime::latestRun() const {
    const std::vector<RunSummary> known = runs->latest();
    return known.empty() ? std::nullopt : runs->find(known.back().id);
}

std::wstring Runtime::getServerVersion() {
    return guarded(L"getServerVersion", [] { return runtimeVersion(); });
}

RecordList<ComponentVersion> Runtime::getComponentVersions() {
    return guarded(L"getComponentVersions", [] { return componentVersions(); });
}

std::shared_ptr<DeviceInfo> Runtime::getDeviceInfo() {
    return guarded(L"getDeviceInfo", [] {
        const Platform::OperatingSystem system = Platform::operatingSystem();
        auto info = std::make_shared<DeviceInfo>();
        info->cosVersion = system.version;
        info->hardwareType = hardwareType(system.kind);
        return info;
    });
}

void Runtime::installUpdatePackages(const RecordList<UpdatePackageInfo>& packages) {
    guarded(L"installUpdatePackages", [&] {
        stageUpdatePackages(packages, environment.installationFolder / "Update",
                            settings.inEffect().dataFolder / "staged", environment.clock);
    });
}

void Runtime::prepareUpdatePackages(const std::vector<std::wstring>& paths,
                                    RecordList<UpdateDescription>& descriptions) {
    guarded(L"prepareUpdatePackages", [&] {
        const RunLog::Call call(*runs);
        RecordList<UpdateDescription> found;
        describeUpdatePackages(paths, found);
        descriptions = std::move(found);
    });
}

void Runtime::startSovdServer() {
    guarded(L"startSovdServer", [&] { sovd.start(settings.inEffect().sovdPort); });
}

void Runtime::stopSovdServer() {
    guarded(L"stopSovdServer", [&] { sovd.stop(); });
}

SovdModel Runtime::sovdModel() const {
    const auto components = [this] {
        std::vector<SovdModel::Component> found;
        if (const SelectedVehicle vehicle = selection.current(); vehicle.information != nullptr) {
            for (const auto& unit : controlUnits(*vehicle.information)) {
                found.push_back(component(unit));
            }
        }
        return found;
    };
    return {[] { return Platform::toUtf8(runtimeVersion()); }, components};
}

} // namespace Quarlen::Kel_cpp

#include "tests/support/RecordingKelApi.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tests/support/CallText.hpp"

namespace Quarlen::Tests {

using namespace Kel_cpp;

namespace {

/// What is handed in counts as it is at the moment of the call, whatever the caller does with its
/// record afterwards.
template <class Settings>
std::shared_ptr<Settings> copyOf(const std::shared_ptr<Settings>& settings) {
    return settings ? std::make_shared<Settings>(*settings) : nullptr;
}

std::shared_ptr<InterfaceSettings> copyOf(const std::shared_ptr<InterfaceSettings>& settings) {
    if (!settings) {
        return nullptr;
    }
    auto copy = std::make_shared<InterfaceSettings>(*settings);
    for (auto& group : copy->groups) {
        group = std::make_shared<InterfaceGroup>(*group);
        for (auto& entry : group->interfaces) {
            entry = std::make_shared<InterfaceEntry>(*entry);
        }
    }
    return copy;
}

} // namespace

std::vector<std::string> RecordingKelApi::calls() const {
    const std::lock_guard lock(mutex);
    return recorded;
}

std::vector<std::string> RecordingKelApi::callsOf(const std::vector<std::string>& names) const {
    std::vector<std::string> found;
    for (const std::string& call : calls()) {
        const std::string name = call.substr(0, call.find('('));
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            found.push_back(call);
        }
    }
    return found;
}

std::size_t RecordingKelApi::count(const std::string& call) const {
    const std::lock_guard lock(mutex);
    return static_cast<std::size_t>(std::count(recorded.begin(), recorded.end(), call));
}

void RecordingKelApi::forgetCalls() {
    const std::lock_guard lock(mutex);
    recorded.clear();
}

void RecordingKelApi::during(const std::string& call, Hook hook) {
    const std::lock_guard lock(mutex);
    hooks[call] = std::move(hook);
}

void RecordingKelApi::throwIn(const std::string& call, const std::wstring& message,
                              std::int32_t code) {
    during(call, [message, code] { throw KelApiException(message, code); });
}

void RecordingKelApi::throwOtherIn(const std::string& call, const std::string& message) {
    during(call, [message] { throw std::runtime_error(message); });
}

void RecordingKelApi::record(const std::string& operation, const std::string& arguments) {
    const std::string call = operation + '(' + arguments + ')';
    {
        const std::lock_guard lock(mutex);
        recorded.push_back(call);
    }
    for (const Hook& hook : hooksFor(operation, call)) {
        hook();
    }
}

std::vector<RecordingKelApi::Hook> RecordingKelApi::hooksFor(const std::string& operation,
                                                             const std::string& call) const {
    const std::lock_guard lock(mutex);
    std::vector<Hook> found;
    for (const std::string& key : {operation, call}) {
        if (const auto hook = hooks.find(key); hook != hooks.end() && hook->second) {
            found.push_back(hook->second);
        }
    }
    return found;
}

template <class Settings>
void RecordingKelApi::takeOver(std::shared_ptr<Settings>& place, std::shared_ptr<Settings> settings,
                               const std::string& operation) {
    const std::shared_ptr<Settings> former = place;
    keep(place, settings);
    try {
        record(operation, settings ? "" : "none");
    } catch (...) {
        keep(place, former);
        throw;
    }
}

void RecordingKelApi::initialize() {
    record("initialize");
}

std::wstring RecordingKelApi::startServer(const std::wstring& address) {
    record("startServer", CallText::text(address));
    return startedAddress ? startedAddress(address) : address;
}

void RecordingKelApi::stopServer(const std::wstring& address) {
    record("stopServer", CallText::text(address));
}

std::shared_ptr<ProjectDetails>
RecordingKelApi::getProjectDetails(const std::wstring& projectName) {
    record("getProjectDetails", CallText::text(projectName));
    return projectDetails;
}

void RecordingKelApi::commitServerSettings() {
    record("commitServerSettings");
}

void RecordingKelApi::getProjectObjects(RecordList<ProjectObject>& objects,
                                        const std::wstring& kind, const std::wstring& filter,
                                        std::shared_ptr<Record> context, std::uint32_t flags) {
    record("getProjectObjects", CallText::oneOf(kind) + ", " + CallText::oneOf(filter) + ", " +
                                    (context ? "context" : "no context") + ", " +
                                    std::to_string(flags) +
                                    CallText::whenSet("objects", !objects.empty()));
    objects = projectObjects;
}

void RecordingKelApi::applyInterfaceSettings() {
    record("applyInterfaceSettings");
}

void RecordingKelApi::connectVehicle() {
    record("connectVehicle");
}

void RecordingKelApi::beginProjectSelection() {
    record("beginProjectSelection");
}

void RecordingKelApi::commitProjectPath() {
    record("commitProjectPath");
}

void RecordingKelApi::getDataFolders(RecordList<DataFolder>& folders, std::int32_t kind) {
    record("getDataFolders", std::to_string(kind) + CallText::whenSet("folders", !folders.empty()));
    folders = dataFolders;
}

void RecordingKelApi::setServerHandler(std::shared_ptr<ServerHandler> handler) {
    record("setServerHandler", handler ? "handler" : "none");
    keep(serverHandler, std::move(handler));
}

std::shared_ptr<DeviceInfo> RecordingKelApi::getDeviceInfo() {
    record("getDeviceInfo");
    return deviceInfo;
}

void RecordingKelApi::installUpdatePackages(const RecordList<UpdatePackageInfo>& packages) {
    keep(updatePackages, packages);
    record("installUpdatePackages", CallText::list(packages));
}

void RecordingKelApi::prepareUpdatePackages(const std::vector<std::wstring>& paths,
                                            RecordList<UpdateDescription>& descriptions) {
    record("prepareUpdatePackages",
           CallText::list(paths) + CallText::whenSet("descriptions", !descriptions.empty()));
    descriptions = updateDescriptions;
}

void RecordingKelApi::startSovdServer() {
    record("startSovdServer");
}

void RecordingKelApi::stopSovdServer() {
    record("stopSovdServer");
}

void RecordingKelApi::getProjects(RecordList<ProjectEntry>& entries) {
    record("getProjects", CallText::whenSet("projects", !entries.empty()));
    entries = projects;
}

std::wstring RecordingKelApi::getServerVersion() {
    record("getServerVersion");
    return serverVersion;
}

std::wstring RecordingKelApi::getSelectedProjectName() {
    record("getSelectedProjectName");
    return selectedProjectName;
}

void RecordingKelApi::selectProject(const std::wstring& projectName) {
    record("selectProject", CallText::text(projectName));
}

std::shared_ptr<ServerSettings> RecordingKelApi::getServerSettings() {
    record("getServerSettings");
    return serverSettings;
}

void RecordingKelApi::setServerSettings(std::shared_ptr<ServerSettings> settings) {
    takeOver(serverSettings, copyOf(settings), "setServerSettings");
}

void RecordingKelApi::selectVehicleInformation(const std::wstring& name) {
    record("selectVehicleInformation", CallText::text(name));
}

void RecordingKelApi::getTargets(RecordList<TargetEntry>& entries) {
    record("getTargets", CallText::whenSet("targets", !entries.empty()));
    entries = targets;
}

void RecordingKelApi::getActiveConnections(RecordList<ActiveConnection>& connections) {
    record("getActiveConnections", CallText::whenSet("connections", !connections.empty()));
    connections = activeConnections;
}

std::shared_ptr<PathSettings> RecordingKelApi::getProjectPath() {
    record("getProjectPath");
    return pathSettings;
}

void RecordingKelApi::setProjectPath(std::shared_ptr<PathSettings> settings) {
    takeOver(pathSettings, copyOf(settings), "setProjectPath");
}

std::shared_ptr<InterfaceSettings> RecordingKelApi::getInterfaceSettings() {
    record("getInterfaceSettings");
    return interfaceSettings;
}

void RecordingKelApi::setInterfaceSettings(std::shared_ptr<InterfaceSettings> settings) {
    takeOver(interfaceSettings, copyOf(settings), "setInterfaceSettings");
}

void RecordingKelApi::setTargetFilters(const RecordList<TargetFilter>& filters) {
    record("setTargetFilters", CallText::list(filters));
}

RecordList<ComponentVersion> RecordingKelApi::getComponentVersions() {
    record("getComponentVersions");
    return componentVersions;
}

std::shared_ptr<ServerConfiguration> RecordingKelApi::getServerConfiguration() {
    record("getServerConfiguration");
    return serverConfiguration;
}

void RecordingKelApi::setServerStatus(const std::wstring& status) {
    record("setServerStatus", CallText::text(status));
}

} // namespace Quarlen::Tests

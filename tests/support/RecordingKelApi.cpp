#include "tests/support/RecordingKelApi.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Tests {

using namespace Kel_cpp;
using Platform::toUtf8;

namespace {

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

template <class List, class ToText>
std::string joined(const List& list, ToText toText) {
    std::vector<std::string> texts;
    std::transform(list.begin(), list.end(), std::back_inserter(texts), toText);
    return joined(texts);
}

std::string joined(const std::vector<std::wstring>& texts) {
    return joined(texts, [](const std::wstring& text) { return toUtf8(text); });
}

std::string joined(const std::vector<std::uint64_t>& numbers) {
    return joined(numbers, [](std::uint64_t number) { return std::to_string(number); });
}

std::string hexBytes(const std::vector<std::uint8_t>& bytes) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += ' ';
        text += digits[byte >> 4U];
        text += digits[byte & 0x0FU];
    }
    return text;
}

std::string joined(const RecordList<ServiceInput>& inputs) {
    return joined(inputs, [](const std::shared_ptr<ServiceInput>& input) {
        return toUtf8(input->serviceName) + hexBytes(input->requestBytes);
    });
}

/// ", a, b" or nothing, to follow a first argument.
std::string rest(const std::string& arguments) {
    return arguments.empty() ? arguments : ", " + arguments;
}

template <class Callback>
void runJob(const std::function<void(Callback&)>& job, Callback& callback) {
    if (job) {
        job(callback);
    } else {
        callback.report({}, 0, nullptr, true);
    }
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

template <class Value>
void RecordingKelApi::keep(Value& place, Value value) {
    const std::lock_guard lock(mutex);
    place = std::move(value);
}

void RecordingKelApi::initialize() {
    record("initialize");
}

std::wstring RecordingKelApi::startServer(const std::wstring& address) {
    record("startServer", toUtf8(address));
    return startedAddress ? startedAddress(address) : address;
}

void RecordingKelApi::stopServer(const std::wstring& address) {
    record("stopServer", toUtf8(address));
}

std::shared_ptr<ProjectDetails>
RecordingKelApi::getProjectDetails(const std::wstring& projectName) {
    record("getProjectDetails", toUtf8(projectName));
    return projectDetails;
}

void RecordingKelApi::commitServerSettings() {
    record("commitServerSettings");
}

void RecordingKelApi::getProjectObjects(RecordList<ProjectObject>& objects,
                                        const std::wstring& kind, const std::wstring& filter,
                                        std::shared_ptr<Record> context, std::uint32_t flags) {
    record("getProjectObjects", toUtf8(kind) + ", " + toUtf8(filter) + ", " +
                                    (context ? "context" : "no context") + ", " +
                                    std::to_string(flags));
    objects = projectObjects;
}

void RecordingKelApi::getFlashInfo(std::shared_ptr<FlashInfo>& info,
                                   const std::wstring& flashItem) {
    record("getFlashInfo", toUtf8(flashItem));
    info = flashInfo;
}

void RecordingKelApi::getFlashSessions(RecordList<FlashSession>& sessions, const std::wstring& item,
                                       const std::wstring& target) {
    record("getFlashSessions", toUtf8(item) + ", " + toUtf8(target));
    sessions = flashSessions;
}

KelApi::JobId RecordingKelApi::executeFlashSessions(const std::wstring& flashItem,
                                                    const std::vector<std::wstring>& sessionNames,
                                                    std::uint32_t flags,
                                                    ExecuteFlashSessionsCallback* callback) {
    record("executeFlashSessions",
           toUtf8(flashItem) + rest(joined(sessionNames)) + ", " + std::to_string(flags));
    runJob(flashJob, *callback);
    return jobId;
}

KelApi::JobId RecordingKelApi::performQuickTest(std::shared_ptr<QuicktestConfig> config,
                                                std::shared_ptr<DtcReadConfig> dtcConfig,
                                                PerformQuickTestCallback* callback) {
    keep(quicktestConfig, std::move(config));
    keep(dtcReadConfig, std::move(dtcConfig));
    record("performQuickTest");
    runJob(quickTestJob, *callback);
    return jobId;
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

void RecordingKelApi::executeServiceSync(RecordList<ServiceResult>& results,
                                         const std::wstring& logicalLink,
                                         const RecordList<ServiceInput>& inputs) {
    record("executeServiceSync", toUtf8(logicalLink) + rest(joined(inputs)));
    results = syncServiceResults;
}

KelApi::JobId RecordingKelApi::executeService(const std::wstring& target,
                                              const RecordList<ServiceInput>& inputs,
                                              ExecuteServiceCallback* callback) {
    keep(serviceInputs, inputs);
    record("executeService", toUtf8(target) + rest(joined(inputs)));
    runJob(serviceJob, *callback);
    return jobId;
}

void RecordingKelApi::identifyVehicle(RecordList<IdentifiedTarget>& found, std::uint32_t flags,
                                      std::shared_ptr<VehicleIdentification>& identification) {
    record("identifyVehicle", std::to_string(flags));
    found = identifiedTargets;
    identification = std::make_shared<VehicleIdentification>();
}

void RecordingKelApi::cancelJobs(const std::vector<JobId>& jobs) {
    record("cancelJobs", joined(jobs));
}

void RecordingKelApi::getDataFolders(RecordList<DataFolder>& folders, std::int32_t kind) {
    record("getDataFolders", std::to_string(kind));
    folders = dataFolders;
}

void RecordingKelApi::createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                                          std::shared_ptr<DtcReadConfig> dtcConfig,
                                          const RecordList<QuickTestResult>& results,
                                          std::shared_ptr<VehicleReportConfig> reportConfig) {
    keep(reportDtcReadConfig, std::move(dtcConfig));
    keep(reportResults, results);
    keep(vehicleReportConfig, std::move(reportConfig));
    record("createVehicleReport", toUtf8(reportName));
    fileName = reportFileName;
}

void RecordingKelApi::setServerHandler(std::shared_ptr<ServerHandler> handler) {
    record("setServerHandler", handler ? "handler" : "none");
    keep(serverHandler, std::move(handler));
}

std::shared_ptr<UnlockSession>
RecordingKelApi::openUnlockSession(const std::wstring& name,
                                   const std::vector<std::wstring>& parameters) {
    record("openUnlockSession", toUtf8(name) + rest(joined(parameters)));
    auto session = std::make_shared<UnlockSession>();
    session->handle = unlockHandle;
    return session;
}

void RecordingKelApi::releaseJob(std::uint64_t handle) {
    record("releaseJob", std::to_string(handle));
}

std::shared_ptr<DeviceInfo> RecordingKelApi::getDeviceInfo() {
    record("getDeviceInfo");
    return deviceInfo;
}

void RecordingKelApi::installUpdatePackages(const RecordList<UpdatePackageInfo>& packages) {
    keep(updatePackages, packages);
    record("installUpdatePackages",
           joined(packages, [](const auto& package) { return toUtf8(package->packagePath); }));
}

void RecordingKelApi::prepareUpdatePackages(const std::vector<std::wstring>& paths,
                                            RecordList<UpdateDescription>& descriptions) {
    record("prepareUpdatePackages", joined(paths));
    descriptions = updateDescriptions;
}

void RecordingKelApi::startSovdServer() {
    record("startSovdServer");
}

void RecordingKelApi::stopSovdServer() {
    record("stopSovdServer");
}

void RecordingKelApi::getProjects(RecordList<ProjectEntry>& entries) {
    record("getProjects");
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
    record("selectProject", toUtf8(projectName));
}

std::shared_ptr<ServerSettings> RecordingKelApi::getServerSettings() {
    record("getServerSettings");
    return serverSettings;
}

void RecordingKelApi::setServerSettings(std::shared_ptr<ServerSettings> settings) {
    record("setServerSettings");
    keep(serverSettings, std::move(settings));
}

void RecordingKelApi::selectVehicleInformation(const std::wstring& name) {
    record("selectVehicleInformation", toUtf8(name));
}

void RecordingKelApi::getTargets(RecordList<TargetEntry>& entries) {
    record("getTargets");
    entries = targets;
}

void RecordingKelApi::getActiveConnections(RecordList<ActiveConnection>& connections) {
    record("getActiveConnections");
    connections = activeConnections;
}

std::shared_ptr<PathSettings> RecordingKelApi::getProjectPath() {
    record("getProjectPath");
    return pathSettings;
}

void RecordingKelApi::setProjectPath(std::shared_ptr<PathSettings> settings) {
    record("setProjectPath");
    keep(pathSettings, std::move(settings));
}

std::shared_ptr<InterfaceSettings> RecordingKelApi::getInterfaceSettings() {
    record("getInterfaceSettings");
    return interfaceSettings;
}

void RecordingKelApi::setInterfaceSettings(std::shared_ptr<InterfaceSettings> settings) {
    record("setInterfaceSettings");
    keep(interfaceSettings, std::move(settings));
}

void RecordingKelApi::setTargetFilters(const RecordList<TargetFilter>& filters) {
    record("setTargetFilters", joined(filters, [](const std::shared_ptr<TargetFilter>& filter) {
               return toUtf8(filter->name) + (filter->enabled ? "=on" : "=off");
           }));
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
    record("setServerStatus", toUtf8(status));
}

} // namespace Quarlen::Tests

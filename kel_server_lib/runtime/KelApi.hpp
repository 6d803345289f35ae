#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/JobRecords.hpp"
#include "kel_server_lib/runtime/KelApiException.hpp"
#include "kel_server_lib/runtime/ProjectRecords.hpp"
#include "kel_server_lib/runtime/Record.hpp"
#include "kel_server_lib/runtime/SettingsRecords.hpp"
#include "kel_server_lib/runtime/UpdateRecords.hpp"

namespace Quarlen::Kel_cpp {

class ServerHandler;

/// The diagnostic runtime as the program sees it: the one interface to projects, vehicle access,
/// jobs, settings and the runtime's own servers. The runtime library implements it; the program
/// gets one object from `getKelApi` and shares it between the application, the REST handlers and
/// the sequences. Records cross it as shared pointers. The runtime calls back in two ways, both on
/// its own threads: through the `ServerHandler` and through the callback of a launched job.
///
/// - Every operation may throw `KelApiException` and no other exception.
/// - Operations may be called from any thread at any time; the runtime serialises what it must.
/// - An out argument is overwritten, never appended to.
/// - The order of the operations is the order of their slots and part of the interface.
class KelApi {
public:
    /// Receives the reports of one job, on a thread of the runtime. `done` is true in the last
    /// report of a job, which always comes, also for a cancelled or failed job.
    template <class Result>
    class JobCallback {
    public:
        virtual void report(RecordList<Result> results, std::uint64_t value,
                            std::shared_ptr<Record> context, bool done) = 0;

        JobCallback() = default;
        JobCallback(const JobCallback&) = delete;
        JobCallback& operator=(const JobCallback&) = delete;
        virtual ~JobCallback() = default;
    };

    class ExecuteFlashSessionsCallback : public JobCallback<FlashResult> {};
    class PerformQuickTestCallback : public JobCallback<QuickTestResult> {};
    class ExecuteServiceCallback : public JobCallback<ServiceResult> {};

    using JobId = std::uint64_t;

    /// Called once, before anything else.
    virtual void initialize() = 0;

    /// Listens on "host:port" or a full web address and returns the address it listens on.
    virtual std::wstring startServer(const std::wstring& address) = 0;
    /// `address` is one that `startServer` returned.
    virtual void stopServer(const std::wstring& address) = 0;

    virtual std::shared_ptr<ProjectDetails> getProjectDetails(const std::wstring& projectName) = 0;

    /// Puts the written server settings into effect and keeps them.
    virtual void commitServerSettings() = 0;

    /// Lists objects of the selected project, `kind` for example "#OTX".
    virtual void getProjectObjects(RecordList<ProjectObject>& objects, const std::wstring& kind,
                                   const std::wstring& filter, std::shared_ptr<Record> context,
                                   std::uint32_t flags) = 0;

    virtual void getFlashInfo(std::shared_ptr<FlashInfo>& info, const std::wstring& flashItem) = 0;
    /// `item` and `target` are the texts of the record that `getFlashInfo` filled.
    virtual void getFlashSessions(RecordList<FlashSession>& sessions, const std::wstring& item,
                                  const std::wstring& target) = 0;
    /// Launches a job. `callback` must stay valid until its last report.
    virtual JobId executeFlashSessions(const std::wstring& flashItem,
                                       const std::vector<std::wstring>& sessionNames,
                                       std::uint32_t flags,
                                       ExecuteFlashSessionsCallback* callback) = 0;
    /// Launches a job. `callback` must stay valid until its last report.
    virtual JobId performQuickTest(std::shared_ptr<QuicktestConfig> config,
                                   std::shared_ptr<DtcReadConfig> dtcReadConfig,
                                   PerformQuickTestCallback* callback) = 0;

    /// Puts the written interface settings into effect and keeps them.
    virtual void applyInterfaceSettings() = 0;

    /// Opens the vehicle access for the selected project and vehicle information.
    virtual void connectVehicle() = 0;

    virtual void beginProjectSelection() = 0;

    /// Puts the written path settings into effect and keeps them.
    virtual void commitProjectPath() = 0;

    virtual void executeServiceSync(RecordList<ServiceResult>& results,
                                    const std::wstring& logicalLink,
                                    const RecordList<ServiceInput>& inputs) = 0;
    /// Launches a job. `callback` must stay valid until its last report.
    virtual JobId executeService(const std::wstring& target, const RecordList<ServiceInput>& inputs,
                                 ExecuteServiceCallback* callback) = 0;

    /// Opens the vehicle access like `connectVehicle` and asks which control units answer.
    virtual void identifyVehicle(RecordList<IdentifiedTarget>& targets, std::uint32_t flags,
                                 std::shared_ptr<VehicleIdentification>& identification) = 0;

    /// Unknown identifiers are ignored: the job may have ended meanwhile.
    virtual void cancelJobs(const std::vector<JobId>& jobs) = 0;

    virtual void getDataFolders(RecordList<DataFolder>& folders, std::int32_t kind) = 0;

    virtual void createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                                     std::shared_ptr<DtcReadConfig> dtcReadConfig,
                                     const RecordList<QuickTestResult>& results,
                                     std::shared_ptr<VehicleReportConfig> reportConfig) = 0;

    /// The runtime keeps a reference until another handler (or none) is set.
    virtual void setServerHandler(std::shared_ptr<ServerHandler> handler) = 0;

    virtual std::shared_ptr<UnlockSession>
    openUnlockSession(const std::wstring& name, const std::vector<std::wstring>& parameters) = 0;
    /// Releases a handle of `openUnlockSession`. Releasing one twice is harmless.
    virtual void releaseJob(std::uint64_t handle) = 0;

    virtual std::shared_ptr<DeviceInfo> getDeviceInfo() = 0;

    virtual void installUpdatePackages(const RecordList<UpdatePackageInfo>& packages) = 0;
    /// One description for each path, in that order. A container that cannot be read is no failure
    /// of the call: its description says so.
    virtual void prepareUpdatePackages(const std::vector<std::wstring>& paths,
                                       RecordList<UpdateDescription>& descriptions) = 0;

    virtual void startSovdServer() = 0;
    virtual void stopSovdServer() = 0;

    virtual void getProjects(RecordList<ProjectEntry>& projects) = 0;

    virtual std::wstring getServerVersion() = 0;
    /// Empty when no project is selected.
    virtual std::wstring getSelectedProjectName() = 0;
    /// The empty name deselects and closes the vehicle access.
    virtual void selectProject(const std::wstring& projectName) = 0;

    virtual std::shared_ptr<ServerSettings> getServerSettings() = 0;
    virtual void setServerSettings(std::shared_ptr<ServerSettings> settings) = 0;

    virtual void selectVehicleInformation(const std::wstring& name) = 0;

    /// Targets of the selected vehicle information that the target filters let through.
    virtual void getTargets(RecordList<TargetEntry>& targets) = 0;

    virtual void getActiveConnections(RecordList<ActiveConnection>& connections) = 0;

    virtual std::shared_ptr<PathSettings> getProjectPath() = 0;
    virtual void setProjectPath(std::shared_ptr<PathSettings> settings) = 0;

    virtual std::shared_ptr<InterfaceSettings> getInterfaceSettings() = 0;
    virtual void setInterfaceSettings(std::shared_ptr<InterfaceSettings> settings) = 0;

    /// With at least one enabled filter, `getTargets` gives only the targets that enabled filters
    /// name; with disabled ones alone it gives every target except those they name. The empty list
    /// gives all.
    virtual void setTargetFilters(const RecordList<TargetFilter>& filters) = 0;

    virtual RecordList<ComponentVersion> getComponentVersions() = 0;

    virtual std::shared_ptr<ServerConfiguration> getServerConfiguration() = 0;

    /// The one status text of the server, shown to its clients. After "Shutting down" the built-in
    /// runtime begins no sequence for a client until an address is started again.
    virtual void setServerStatus(const std::wstring& status) = 0;

    KelApi() = default;
    KelApi(const KelApi&) = delete;
    KelApi& operator=(const KelApi&) = delete;
    virtual ~KelApi() = default;
};

/// Entry function of the runtime library. Called once, at start-up.
std::shared_ptr<KelApi> getKelApi();

} // namespace Quarlen::Kel_cpp

#pragma once

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include "kel_cpp/ActiveSettings.hpp"
#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/access/VehicleInterfaces.hpp"
#include "kel_cpp/jobs/JobRunner.hpp"
#include "kel_cpp/network/RuntimeServer.hpp"
#include "kel_cpp/network/SovdServer.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// The folders, the clock and the error output that a runtime uses.
struct RuntimeEnvironment {
    std::filesystem::path configFolder;
    /// Holds the folder "Update".
    std::filesystem::path installationFolder;
    /// Must outlive the runtime and its jobs.
    Platform::Clock& clock;
    /// Well below the session timeout S3 (5 s, ISO 14229-2).
    std::chrono::milliseconds testerPresentInterval{2000};
    /// Receives messages for the operator about conditions that are not failures. Must outlive the
    /// runtime.
    std::ostream& errorOutput = std::cerr;
};

/// The status text of the server and when it was set.
struct ServerStatus {
    std::wstring text;
    std::chrono::system_clock::time_point time;
};

/// The built-in diagnostic runtime behind the facade `KelApi`. It owns one component for each
/// subject (settings, vehicle interfaces, selection, network servers, jobs) and hands each
/// operation to the component in charge; its sources are split by the same subjects. Any thread may
/// call an operation, which runs on the thread of the caller; services, quick tests and flashing
/// run as jobs on threads of their own and report to callbacks. No lock is held during a callback.
/// An operation throws no exception other than `KelApiException`.
class Runtime final : public KelApi {
public:
    explicit Runtime(RuntimeEnvironment where);
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;
    /// Cancels all jobs and waits for their ends; safe in any state.
    ~Runtime() override;

    [[nodiscard]] ServerStatus serverStatus() const;

    void initialize() override;
    std::wstring startServer(const std::wstring& address) override;
    void stopServer(const std::wstring& address) override;
    std::shared_ptr<ProjectDetails> getProjectDetails(const std::wstring& projectName) override;
    void commitServerSettings() override;
    void getProjectObjects(RecordList<ProjectObject>& objects, const std::wstring& kind,
                           const std::wstring& filter, std::shared_ptr<Record> context,
                           std::uint32_t flags) override;
    void getFlashInfo(std::shared_ptr<FlashInfo>& info, const std::wstring& flashItem) override;
    void getFlashSessions(RecordList<FlashSession>& sessions, const std::wstring& item,
                          const std::wstring& target) override;
    JobId executeFlashSessions(const std::wstring& flashItem,
                               const std::vector<std::wstring>& sessionNames, std::uint32_t flags,
                               ExecuteFlashSessionsCallback* callback) override;
    JobId performQuickTest(std::shared_ptr<QuicktestConfig> config,
                           std::shared_ptr<DtcReadConfig> dtcReadConfig,
                           PerformQuickTestCallback* callback) override;
    void applyInterfaceSettings() override;
    void connectVehicle() override;
    void beginProjectSelection() override;
    void commitProjectPath() override;
    void executeServiceSync(RecordList<ServiceResult>& results, const std::wstring& logicalLink,
                            const RecordList<ServiceInput>& inputs) override;
    JobId executeService(const std::wstring& target, const RecordList<ServiceInput>& inputs,
                         ExecuteServiceCallback* callback) override;
    void identifyVehicle(RecordList<IdentifiedTarget>& targets, std::uint32_t flags,
                         std::shared_ptr<VehicleIdentification>& identification) override;
    void cancelJobs(const std::vector<JobId>& ids) override;
    void getDataFolders(RecordList<DataFolder>& folders, std::int32_t kind) override;
    void createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                             std::shared_ptr<DtcReadConfig> dtcReadConfig,
                             const RecordList<QuickTestResult>& results,
                             std::shared_ptr<VehicleReportConfig> reportConfig) override;
    void setServerHandler(std::shared_ptr<ServerHandler> handler) override;
    std::shared_ptr<UnlockSession>
    openUnlockSession(const std::wstring& name,
                      const std::vector<std::wstring>& parameters) override;
    void releaseJob(std::uint64_t handle) override;
    std::shared_ptr<DeviceInfo> getDeviceInfo() override;
    void installUpdatePackages(const RecordList<UpdatePackageInfo>& packages) override;
    void prepareUpdatePackages(const std::vector<std::wstring>& paths,
                               RecordList<UpdateDescription>& descriptions) override;
    void startSovdServer() override;
    void stopSovdServer() override;
    void getProjects(RecordList<ProjectEntry>& projects) override;
    std::wstring getServerVersion() override;
    std::wstring getSelectedProjectName() override;
    void selectProject(const std::wstring& projectName) override;
    std::shared_ptr<ServerSettings> getServerSettings() override;
    void setServerSettings(std::shared_ptr<ServerSettings> record) override;
    void selectVehicleInformation(const std::wstring& name) override;
    void getTargets(RecordList<TargetEntry>& targets) override;
    void getActiveConnections(RecordList<ActiveConnection>& connections) override;
    std::shared_ptr<PathSettings> getProjectPath() override;
    void setProjectPath(std::shared_ptr<PathSettings> record) override;
    std::shared_ptr<InterfaceSettings> getInterfaceSettings() override;
    void setInterfaceSettings(std::shared_ptr<InterfaceSettings> record) override;
    void setTargetFilters(const RecordList<TargetFilter>& filters) override;
    RecordList<ComponentVersion> getComponentVersions() override;
    std::shared_ptr<ServerConfiguration> getServerConfiguration() override;
    void setServerStatus(const std::wstring& text) override;

private:
    [[nodiscard]] std::filesystem::path projectsFolder() const;
    [[nodiscard]] SovdModel sovdModel() const;
    struct OpenedVehicle {
        SelectedVehicle vehicle;
        /// True when this call opened the access; the caller then closes it after a failure.
        bool isNew = false;
    };
    /// Returns the selection with an open access. An open access is reused when it uses the
    /// interface that is enabled now. `opening` serializes the callers, so that they share one
    /// access.
    OpenedVehicle openVehicle();
    template <class Body>
    JobId launch(const std::shared_ptr<VehicleAccess>& access, Body body);

    const RuntimeEnvironment environment;
    ActiveSettings settings;
    VehicleInterfaces interfaces;
    Selection selection;
    /// Taken before every other lock.
    std::mutex opening;

    mutable std::mutex mutex;
    ServerStatus status;
    std::shared_ptr<ServerHandler> serverHandler;

    RuntimeServer server;
    SovdServer sovd;
    /// Declared last, so that all jobs end before the other members are destroyed.
    JobRunner jobs;
};

} // namespace Quarlen::Kel_cpp
